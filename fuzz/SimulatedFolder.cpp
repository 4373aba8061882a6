// The files of a simulated drive's folder. The first byte chooses the commands that are tried on it. Then comes the
// description, up to a zero byte, and the contents of the state, which get a head with right checksums here; a whole
// state file, which begins with its magic, stays as it is. No contents: the drive is new.
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "features/nvme/Bytes.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/NamespaceIds.h"
#include "features/nvme/Opcodes.h"
#include "features/simulator/controller/Controller.h"
#include "features/simulator/controller/StateCheck.h"
#include "features/simulator/store/DriveFolder.h"
#include "fuzz/Require.h"
#include "fuzz/ScratchFolder.h"
#include "fuzz/SimulatedDriveCheck.h"

namespace {

using namespace features::simulator;
using namespace features::nvme;
using ostrel::core::CATEGORY_OS;
using ostrel::core::Status;

const ScratchFolder& scratch() {
    static const ScratchFolder folder;
    return folder;
}

bool isFine(const Status& status) {
    REQUIRE(succeeded(status) || (status.getCategory() == CATEGORY_OS && !status.getMessage().empty()));
    return succeeded(status);
}

/// The checksum of the state file, written out here: the reader's own would hide its mistakes.
uint32_t crc32(const uint8_t* data, size_t size) {
    uint32_t crc = ~0U;
    for (size_t i = 0; i < size; ++i) {
        crc ^= data[i];
        for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ ((crc & 1) != 0 ? 0xEDB88320 : 0);
    }
    return ~crc;
}

std::string stateFile(std::string_view contents) {
    constexpr std::string_view MAGIC = "NBSIMST1";
    constexpr size_t HEAD_BYTES = 64;
    if (contents.substr(0, MAGIC.size()) == MAGIC) return std::string(contents);
    std::string file(HEAD_BYTES, '\0');
    file.append(contents);
    auto* head = reinterpret_cast<uint8_t*>(file.data());
    std::copy(MAGIC.begin(), MAGIC.end(), head);
    putLe32(head + 8, STATE_VERSION);
    putLe32(head + 12, crc32(head + HEAD_BYTES, contents.size()));
    putLe64(head + 16, contents.size());
    putLe32(head + 60, crc32(head, 60));
    return file;
}

/// What is written of a description reads as the same description.
void checkDescription(const std::string& text) {
    const auto description = Description::parse(text);
    if (!isFine(statusOf(description))) {
        REQUIRE(description.error().is(CATEGORY_OS, EINVAL));
        return;
    }
    const std::string written = description->toText();
    const auto again = Description::parse(written);
    REQUIRE(again && again->toText() == written);
}

SubmissionEntry admin(uint8_t opcode, uint32_t nsid, uint32_t cdw10, uint32_t cdw11 = 0) {
    SubmissionEntry entry;
    entry.opcode = opcode;
    entry.nsid = nsid;
    entry.cdw10 = cdw10;
    entry.cdw11 = cdw11;
    return entry;
}
SubmissionEntry io(uint8_t opcode) {
    SubmissionEntry entry = admin(opcode, 1, 0);
    entry.isAdmin = false;
    return entry;
}
SubmissionEntry logPage(uint8_t lid, uint8_t parameter = 0) {
    constexpr uint32_t DWORDS_0_BASED = 1023;
    return admin(OPC_GET_LOG_PAGE, NSID_ALL, DWORDS_0_BASED << 16 | uint32_t{parameter} << 8 | lid);
}

/// Commands that read all of the state, and those that change most of it.
std::vector<SubmissionEntry> allCommands() {
    std::vector<SubmissionEntry> entries = {
        admin(OPC_IDENTIFY, 0, CNS_CONTROLLER),
        admin(OPC_IDENTIFY, 1, CNS_NAMESPACE),
        admin(OPC_IDENTIFY, 0, CNS_ACTIVE_NAMESPACES),
        admin(OPC_IDENTIFY, 0, CNS_ALLOCATED_NAMESPACES),
        admin(OPC_IDENTIFY, 1, CNS_NAMESPACE_DESCRIPTORS),
    };
    for (uint8_t lid = 0; lid != 0x10; ++lid) entries.push_back(logPage(lid, lid == LID_PERSISTENT_EVENT ? 1 : 0));
    for (unsigned lid = 0xC0; lid <= 0xFF; ++lid) entries.push_back(logPage(static_cast<uint8_t>(lid)));
    entries.push_back(logPage(LID_SANITIZE_STATUS));
    for (unsigned fid = 1; fid <= 0xFF; ++fid) entries.push_back(admin(OPC_GET_FEATURES, 1, fid));
    for (const uint8_t opcode : {OPC_WRITE, OPC_READ, OPC_DATASET_MANAGEMENT}) entries.push_back(io(opcode));
    entries.push_back(admin(OPC_FORMAT_NVM, NSID_ALL, 0));
    entries.push_back(admin(OPC_DEVICE_SELF_TEST, NSID_ALL, 1));
    entries.push_back(admin(OPC_NAMESPACE_MANAGEMENT, NSID_ALL, 1));
    entries.push_back(admin(OPC_FIRMWARE_COMMIT, 0, 2 << 3 | 1));
    entries.push_back(admin(OPC_SANITIZE, 0, 2));
    return entries;
}

/// All of them for one input would be slow: each takes one in sixteen.
void runCommands(Controller& controller, size_t first) {
    constexpr size_t STEP = 16;
    static const std::vector<SubmissionEntry> COMMANDS = allCommands();
    for (size_t i = first % STEP; i < COMMANDS.size(); i += STEP) {
        std::vector<uint8_t> data(4096);
        const auto completion = controller.execute(COMMANDS[i], data);
        if (!isFine(statusOf(completion)) || completion->delivery == Delivery::GONE) return;
    }
    (void)isFine(controller.reset(ResetKind::CONTROLLER));
    (void)isFine(controller.reset(ResetKind::SUBSYSTEM));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const std::string_view input(reinterpret_cast<const char*>(data) + 1, size - 1);
    const std::string_view text = input.substr(0, input.find('\0'));
    const std::string_view contents = input.substr(std::min(input.size(), text.size() + 1));
    checkDescription(std::string(text));
    scratch().clear();
    scratch().write(FILE_DESCRIPTION, text);
    if (!contents.empty()) scratch().write(FILE_STATE, stateFile(contents));

    DriveFolder drive(scratch().path(), impossibleIn);
    if (!isFine(drive.begin())) return 0;
    if (!drive.isNew()) checkState(drive);
    drive.rollBack();
    const auto identity = DriveFolder::readIdentity(scratch().path());
    REQUIRE(isFine(statusOf(identity)) && isFine(statusOf(identity->firmware)));
    const ManualClock clock(1600000000000);
    {
        Controller controller(scratch().path(), clock);
        runCommands(controller, data[0]);
    }
    REQUIRE(isFine(drive.begin()));  // what the simulator wrote, it reads
    drive.rollBack();
    return 0;
}
