// A capture from anywhere: its list, up to a zero byte, and then the bytes of each file that the list may name. What is
// read stays within the bounds of a capture, survives being written, and a drive that answers it can be made and asked.
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "features/nvme/IdentifyCns.h"
#include "features/nvme/Opcodes.h"
#include "features/simulator/controller/Controller.h"
#include "features/simulator/sata/SataDrive.h"
#include "features/simulator/store/CaptureFolder.h"
#include "features/simulator/store/DriveStore.h"
#include "fuzz/Require.h"
#include "fuzz/ScratchFolder.h"
#include "simdrive/capture/CaptureCommand.h"
#include "simdrive/capture/Mask.h"

namespace {

using namespace features::simulator;

constexpr size_t FILES = 3;

const ScratchFolder& scratch() {
    static const ScratchFolder folder;
    return folder;
}

void askNvme(const std::string& path, const CapturedAnswers& capture) {
    const ManualClock clock(0);
    Controller controller(path, clock);
    for (const auto& [key, answer] : capture.answers) {
        const auto& fields = key.fields;
        std::vector<uint8_t> data;
        // A log in pieces of 1 KiB: the length is in dword 10.
        SubmissionEntry command{true, key.opcode, fields[0], 0, 0, fields[1] | 0xFF0000, fields[2], 0, 0, fields[3], 0};
        REQUIRE(controller.execute(command, data));
        REQUIRE(data.size() <= size_t{4} << 20);
        command.cdw12 = 512;
        REQUIRE(controller.execute(command, data));
        command = {false, features::nvme::OPC_READ, fields[0], 0, 0, 0, 0, 7, 0, 0, 0};
        REQUIRE(controller.execute(command, data));
    }
}

void askSata(const std::string& path, const CapturedAnswers& capture) {
    const ManualClock clock(0);
    sata::SataDrive drive(path, clock);
    for (const auto& [key, answer] : capture.answers) {
        std::vector<uint8_t> data;
        sata::TaskFile command;
        command.command = key.opcode;
        command.protocol = features::ata::Protocol::PIO_IN;
        command.feature = static_cast<uint16_t>(key.fields[0]);
        command.lba = key.fields[1] | 0x100;
        command.dataBytes = 512;
        REQUIRE(drive.execute(command, data));
        REQUIRE(data.empty() || data.size() == 512);
    }
}

void makeDrive() {
    auto drive = simdrive::driveOfCapture(scratch() / "capture");
    if (!drive) return;  // no Identify
    drive->name = "one";
    if (!Description::parse(drive->description.toText())) return;  // its serial number is none of a simulated drive
    const DriveStore store(scratch() / "drives");
    REQUIRE(succeeded(store.create({*drive}, ManualClock(0))));
    const std::string path = store.pathOf("one");
    if (drive->capture->isSata) {
        askSata(path, *drive->capture);
    } else {
        askNvme(path, *drive->capture);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const size_t end = input.find('\0');
    const std::string_view list = input.substr(0, end);
    const std::string_view bytes = end == std::string_view::npos ? std::string_view() : input.substr(end + 1);
    scratch().clear();
    std::filesystem::create_directory(scratch() / "capture");
    scratch().write("capture/capture.json", list);
    for (size_t i = 1; i <= FILES; ++i) scratch().write("capture/capture-000" + std::to_string(i) + ".bin", bytes);
    auto capture = readCapture(scratch() / "capture");
    if (!capture) {
        REQUIRE(!capture.error().getMessage().empty());
        return 0;
    }
    REQUIRE(capture->answers.size() <= CapturedAnswers::MAX_ANSWERS);
    REQUIRE(capture->totalBytes() <= CapturedAnswers::MAX_BYTES);
    makeDrive();
    const size_t before = capture->totalBytes();
    simdrive::mask(*capture);
    REQUIRE(capture->totalBytes() == before);
    std::filesystem::create_directory(scratch() / "written");
    REQUIRE(succeeded(writeCapture(*capture, scratch() / "written")));
    const auto again = readCapture(scratch() / "written");
    REQUIRE(again && again->answers.size() == capture->answers.size() && again->totalBytes() == before);
    return 0;
}
