// The fake drive fails the tests of those who rely on it, so it is seen to do so.

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <functional>

#include "features/nvme/Drive.h"
#include "features/transport/HostCommand.h"
#include "tests/support/fakedrive/FakeDrive.h"

namespace fakedrive {
namespace {

using features::nvme::Drive;
using features::nvme::NvmeCommand;
using features::nvme::Queue;
using features::transport::HostCommand;
using features::transport::HostRequest;
using features::transport::HostResult;
using ostrel::core::CommandResult;
using ostrel::core::Payload;
using ostrel::core::Status;

/// What the work reports of failures, while the test goes on.
std::vector<std::string> failuresOf(const std::function<void()>& work) {
    testing::TestPartResultArray results;
    {
        const testing::ScopedFakeTestPartResultReporter reporter(
            testing::ScopedFakeTestPartResultReporter::INTERCEPT_ONLY_CURRENT_THREAD, &results);
        work();
    }
    std::vector<std::string> failures;
    for (int i = 0; i < results.size(); ++i) {
        std::string message = results.GetTestPartResult(i).message();
        if (message.back() == '\n') message.pop_back();              // as GoogleTest 1.16 ends it, and 1.12 does not
        failures.push_back(message.substr(message.find('\n') + 1));  // after "Failed"
    }
    return failures;
}

Expected expectedSet() {
    return setFeature(0x08, 0x0A05).writes({'d', 'a', 't', 'a'}).timeoutMs(7000);
}

NvmeCommand sentSet() {
    NvmeCommand command(Queue::ADMIN, 0x09, "Set Features");
    command.cdw10 = 0x08;
    command.cdw11 = 0x0A05;
    command.dataLength = 4;
    command.timeoutMs = 7000;
    return command;
}

Status send(FakeDrive& fake, const NvmeCommand& command, const Payload& data = Payload("data", 4)) {
    return statusOf(Drive(*fake.device()).send(command, data));
}

TEST(FakeDrive, TakesTheCommandThatIsExpected) {
    FakeDrive fake;
    fake.expect(expectedSet());
    EXPECT_TRUE(succeeded(send(fake, sentSet())));
}

TEST(FakeDrive, ReportsWhatCameAndWhatWasExpected) {
    const auto failures = failuresOf([] {
        FakeDrive fake("S7");
        fake.expect(expectedSet());
        NvmeCommand command = sentSet();
        command.nsid = 0xFF;
        command.cdw15 = 0x15;
        EXPECT_TRUE(send(fake, command, Payload("dat", 3)).is(0, 24));
    });
    EXPECT_EQ(failures, (std::vector<std::string>{
                            "drive S7: command 1 is Set Features:\n"
                            "admin opcode 9h, NSID ffh\ndword 10 8h\ndword 11 a05h\ndword 15 15h\ndata 4\n"
                            "written 64 61 74\ntime-out 7000 ms\n"
                            "but this was expected:\n"
                            "admin opcode 9h, NSID 0h\ndword 10 8h\ndword 11 a05h\ndata 4\n"
                            "written 64 61 74 61\ntime-out 7000 ms",
                            "drive S7: after 0 commands this never came:\n"
                            "admin opcode 9h, NSID 0h\ndword 10 8h\ndword 11 a05h\ndata 4\n"
                            "written 64 61 74 61\ntime-out 7000 ms",
                        }));
}

TEST(FakeDrive, FailsTheTestWhateverDiffers) {
    void (*const CHANGES[])(NvmeCommand&) = {
        [](NvmeCommand& c) { c.queue = Queue::IO; }, [](NvmeCommand& c) { c.opcode = 0x0D; },
        [](NvmeCommand& c) { c.nsid = 1; },          [](NvmeCommand& c) { c.cdw2 = 1; },
        [](NvmeCommand& c) { c.cdw3 = 1; },          [](NvmeCommand& c) { c.cdw10 = 0x80000008; },
        [](NvmeCommand& c) { c.cdw11 = 0; },         [](NvmeCommand& c) { c.cdw12 = 1; },
        [](NvmeCommand& c) { c.cdw13 = 1; },         [](NvmeCommand& c) { c.cdw14 = 1; },
        [](NvmeCommand& c) { c.cdw15 = 1; },         [](NvmeCommand& c) { c.dataLength = 8; },
        [](NvmeCommand& c) { c.timeoutMs = 1; },
    };
    for (const auto& change : CHANGES) {
        const auto failures = failuresOf([&] {
            FakeDrive fake;
            fake.expect(expectedSet());
            NvmeCommand command = sentSet();
            change(command);
            (void)send(fake, command);  // what it returns is another test's
        });
        EXPECT_EQ(failures.size(), 2U) << "change " << &change - CHANGES << " came, and the expected one did not";
    }
    const auto failures = failuresOf([] {
        FakeDrive fake;
        fake.expect(expectedSet());
        (void)send(fake, sentSet(), Payload("datA", 4));
    });
    EXPECT_EQ(failures.size(), 2U) << "one byte of the data";
}

TEST(FakeDrive, FailsForOneTooMany) {
    const auto failures = failuresOf([] {
        FakeDrive fake;
        fake.expect(expectedSet());
        EXPECT_TRUE(succeeded(send(fake, sentSet())));
        EXPECT_TRUE(send(fake, sentSet()).is(0, 24));
    });
    EXPECT_EQ(failures,
              (std::vector<std::string>{"drive S1: after 1 commands nothing more is expected, but Set Features came:\n"
                                        "admin opcode 9h, NSID 0h\ndword 10 8h\ndword 11 a05h\ndata 4\n"
                                        "written 64 61 74 61\ntime-out 7000 ms"}));
}

TEST(FakeDrive, FailsForOneTooFewOnceOnly) {
    const auto failures = failuresOf([] {
        FakeDrive fake;
        fake.expect(identify(0x01)).expect(hostUses({}));
        fake.expectDone();
    });
    EXPECT_EQ(failures, (std::vector<std::string>{
                            "drive S1: after 0 commands this never came:\n"
                            "admin opcode 6h, NSID 0h\ndword 10 1h\ndata 4096",
                            "drive S1: after 0 commands this never came:\nhost USES",
                        }));
}

TEST(FakeDrive, AnswersForTheHost) {
    FakeDrive fake;
    unsigned called = 0;
    fake.expect(hostNamespaces({unusedNamespace(1), unusedNamespace(3)}).then([&] { ++called; }))
        .expect(Expected::host(HostRequest::RESET_CONTROLLER).timeoutMs(9).breaks(Status(1, 62, "too late")));
    CommandResult result;
    fake.device()->sendCommand(HostCommand(HostRequest::NAMESPACES), result);
    EXPECT_EQ(called, 1U);
    EXPECT_TRUE(succeeded(result.status));
    const auto* host = dynamic_cast<const HostResult*>(result.protocolResult.get());
    ASSERT_NE(host, nullptr);
    ASSERT_EQ(host->namespaces.size(), 2U);
    EXPECT_EQ(host->namespaces[1].nsid, 3U);
    EXPECT_EQ(host->namespaces[1].node, "/dev/nvme0n3");

    HostCommand reset(HostRequest::RESET_CONTROLLER);
    reset.timeoutMs = 9;
    fake.device()->sendCommand(reset, result);
    EXPECT_TRUE(result.status.is(1, 62));
    EXPECT_EQ(result.protocolResult, nullptr);
}

TEST(FakeDrive, FailsForAnotherRequestToTheHost) {
    const auto failures = failuresOf([] {
        FakeDrive fake;
        fake.expect(hostUses({}));
        CommandResult result;
        fake.device()->sendCommand(HostCommand(HostRequest::RESCAN), result);
    });
    ASSERT_EQ(failures.size(), 2U);
    EXPECT_EQ(failures[0], "drive S1: command 1 is " + HostCommand(HostRequest::RESCAN).getName() +
                               ":\nhost RESCAN\nbut this was expected:\nhost USES");
}

}  // namespace
}  // namespace fakedrive
