#include "features/simulator/store/CapturedAnswers.h"

#include <algorithm>
#include <iterator>

#include "features/nvme/FieldTree.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/NamespaceIds.h"
#include "features/nvme/Opcodes.h"

namespace features::simulator {

using namespace nvme;

namespace {

/// The bits of a command that choose what is read.
struct MaskRow {
    uint8_t opcode;
    const char* name;
    uint32_t cdw10;
    uint32_t cdw11;
    uint32_t cdw14;
};
constexpr MaskRow MASKS[] = {
    {OPC_IDENTIFY, "Identify, CNS ", 0xFFFF00FF, 0xFFFFFFFF, 0x7F},
    // LID, Log Specific Field and Identifier, UUID Index, CSI. Not: length, offset, Retain Asynchronous Event.
    {OPC_GET_LOG_PAGE, "Get Log Page ", 0x00007FFF, 0xFFFF0000, 0xFF80007F},
    {OPC_GET_FEATURES, "Get Features ", 0x000007FF, 0xFFFFFFFF, 0x7F},
    {OPC_SECURITY_RECEIVE, "Security Receive ", 0xFFFFFFFF, 0, 0},
};

const MaskRow* findMask(uint8_t opcode) {
    const auto* row = std::find_if(std::begin(MASKS), std::end(MASKS),
                                   [opcode](const MaskRow& each) { return each.opcode == opcode; });
    return row == std::end(MASKS) ? nullptr : row;
}

/// Hosts differ in the NSID of what has none.
uint32_t nsidOf(uint8_t opcode, uint32_t nsid, uint32_t cdw10) {
    if (opcode == OPC_SECURITY_RECEIVE || (opcode == OPC_IDENTIFY && (cdw10 & 0xFF) == CNS_CONTROLLER)) return 0;
    return opcode == OPC_GET_LOG_PAGE && nsid == 0 ? NSID_ALL : nsid;
}

}  // namespace

const CapturedAnswer* CapturedAnswers::find(const CapturedCommand& command) const {
    const auto found = answers.find(command);
    return found == answers.end() ? nullptr : &found->second;
}

size_t CapturedAnswers::totalBytes() const {
    size_t bytes = 0;
    for (const auto& [command, answer] : answers) bytes += answer.data.size();
    return bytes;
}

std::optional<CapturedCommand> capturedCommand(uint8_t opcode, uint32_t nsid, uint32_t cdw10, uint32_t cdw11,
                                               uint32_t cdw14) {
    const MaskRow* const row = findMask(opcode);
    if (row == nullptr) return std::nullopt;
    return CapturedCommand{opcode,
                           {nsidOf(opcode, nsid, cdw10), cdw10 & row->cdw10, cdw11 & row->cdw11, cdw14 & row->cdw14}};
}

std::string capturedName(const CapturedCommand& command, bool isSata) {
    if (isSata) return "ATA command " + hexText(command.opcode, 2);
    const MaskRow* const row = findMask(command.opcode);
    if (row == nullptr) return hexText(command.opcode, 2);
    const uint32_t what = command.opcode == OPC_SECURITY_RECEIVE ? command.fields[1] >> 24 : command.fields[1] & 0xFF;
    return row->name + hexText(what, 2);
}

}  // namespace features::simulator
