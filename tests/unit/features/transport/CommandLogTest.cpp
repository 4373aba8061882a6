#include <gtest/gtest.h>

#include "features/ata/AtaResult.h"
#include "features/ata/Commands.h"
#include "features/nvme/Completion.h"
#include "features/nvme/NamespaceIds.h"
#include "features/nvme/Opcodes.h"
#include "features/transport/CommandLog.h"
#include "ostrel/core/StatusCatalogue.h"
#include "tests/support/LogCapture.h"

namespace features::transport {
namespace {

using namespace ostrel::core;
using namespace std::chrono_literals;
using nvme::Completion;
using nvme::NvmeCommand;

NvmeCommand getLogPage() {
    NvmeCommand command(nvme::Queue::ADMIN, nvme::OPC_GET_LOG_PAGE, "Get Log Page");
    command.nsid = nvme::NSID_ALL;
    command.cdw10 = 0x007F0002;
    command.dataLength = 512;
    return command;
}

TEST(CommandLog, IsOneLineForACommand) {
    const LogCapture log;
    const Completion success;
    logCommand("/dev/nvme0", getLogPage(), Status(), &success, 312456ns);
    EXPECT_EQ(log.lines(),
              "[info] /dev/nvme0: Get Log Page (02h), NSID FFFFFFFFh, CDW10-15 007F0002h 00000000h 00000000h 00000000h "
              "00000000h 00000000h, 512 bytes: Successful Completion (0/00h), 312 us\n");
}

TEST(CommandLog, HasTheDrivesRefusalAndTheDwordsThatAreNotReserved) {
    const LogCapture log;
    const Completion refused(0x4109, 0);  // type 1, code 09h, Do Not Retry
    NvmeCommand command = getLogPage();
    command.cdw2 = 1;
    command.cdw3 = 0xFEDCBA98;
    command.cdw15 = 7;
    logCommand("/dev/nvme0", command, Status(), &refused, 2s);
    EXPECT_EQ(log.lines(),
              "[info] /dev/nvme0: Get Log Page (02h), NSID FFFFFFFFh, CDW2-3 00000001h FEDCBA98h, CDW10-15 007F0002h "
              "00000000h 00000000h 00000000h 00000000h 00000007h, 512 bytes: Invalid Log Page (1/09h), 2000000 us\n");
}

TEST(CommandLog, SaysWhyThereIsNoCompletion) {
    const LogCapture log;
    logCommand("/dev/nvme0", getLogPage(), statuses::noConnectionToOpen(), nullptr, 0ns);
    EXPECT_EQ(log.lines(),
              "[info] /dev/nvme0: Get Log Page (02h), NSID FFFFFFFFh, CDW10-15 007F0002h 00000000h 00000000h 00000000h "
              "00000000h 00000000h, 512 bytes: There was no connection to open., 0 us\n");
}

TEST(CommandLog, IsSilentBelowItsLevelAndWhenOff) {
    const LogCapture log(LOGSEVERITY_WARNING);
    const Completion success;
    logCommand("/dev/nvme0", getLogPage(), Status(), &success, 0ns);
    EXPECT_EQ(log.lines(), "");
}

TEST(CommandLog, HasTheRegistersOfAnAtaCommand) {
    const LogCapture log;
    ata::AtaResult success;
    success.succeeded = true;
    ata::AtaCommand command(ata::commands::smartReadData);
    command.count = 1;
    command.dataLength = 512;
    logCommand("/dev/sda", command, Status(), &success, 312456ns);
    ata::Registers registers;
    registers.status = 0x51;
    registers.error = 0x04;
    const ata::AtaResult refused(registers);
    logCommand("/dev/sda", command, Status(), &refused, 1us);
    logCommand("/dev/sda", command, statuses::commandTimedOut(), nullptr, 15s);
    const std::string sent =
        "[info] /dev/sda: SMART READ DATA (B0h), FEATURE 00D0h, COUNT 0001h, LBA 000000C24F00h, DEVICE 00h, 512 "
        "bytes: ";
    EXPECT_EQ(log.lines(), sent + "success, 312 us\n" +  //
                               sent + "command aborted (STATUS 51h, ERROR 04h), 1 us\n" + sent +
                               "The command was detected to have timed-out., 15000000 us\n");
}

}  // namespace
}  // namespace features::transport
