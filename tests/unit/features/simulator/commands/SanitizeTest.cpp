#include "tests/unit/features/simulator/SimulatedDrive.h"

using features::simulator::ResetKind;

namespace {

class SanitizeOfASimulatedDrive : public SimulatedDrive {
protected:
    /// The first 32 bytes of log page 81h.
    Bytes sanitizeLog() { return part(log(0x81, 512), 0, 32); }
    static Bytes expectedLog(Bytes progressAndStatus, uint8_t action) {
        Bytes bytes = std::move(progressAndStatus);
        bytes.resize(32, 0xFF);
        for (size_t i = 4; i < 20; ++i) bytes[i] = 0;
        bytes[4] = action;
        bytes[8] = bytes[12] = bytes[16] = 10;  // seconds
        return bytes;
    }
};

TEST_F(SanitizeOfASimulatedDrive, TakesItsTimeAndErases) {
    EXPECT_EQ(sanitizeLog(), expectedLog({0xFF, 0xFF, 0, 1}, 0)) << "never; nothing was written";
    data.assign(512, 0x11);
    EXPECT_EQ(status(io(0x01, 1)), 0);
    EXPECT_EQ(sanitizeLog(), expectedLog({0xFF, 0xFF, 0, 0}, 0));
    EXPECT_EQ(status(admin(0x84, 0, 2)), 0);
    EXPECT_EQ(sanitizeLog(), expectedLog({0, 0, 2, 0}, 2));
    clock.advanceMs(5000);
    reopen();
    EXPECT_EQ(sanitizeLog(), expectedLog({0, 0x80, 2, 0}, 2)) << "half way";
    clock.advanceMs(4999);
    EXPECT_EQ(sanitizeLog(), expectedLog({0xF9, 0xFF, 2, 0}, 2));
    clock.advanceMs(1);
    EXPECT_EQ(sanitizeLog(), expectedLog({0xFF, 0xFF, 1, 1}, 2));
    EXPECT_EQ(status(io(0x02, 1)), 0);
    EXPECT_EQ(data, Bytes(512));
}

TEST_F(SanitizeOfASimulatedDrive, StopsOtherCommandsMeanwhile) {
    EXPECT_EQ(status(admin(0x84, 0, 4)), 0);
    data.assign(4096, 0);
    const struct {
        features::simulator::SubmissionEntry command;
        uint16_t status;
        const char* why;
    } CASES[] = {
        {io(0x02, 1), 0x001D, "Read"},
        {io(0x01, 1), 0x001D, "Write"},
        {io(0x00, 1), 0x001D, "Flush"},
        {admin(0x84, 0, 2), 0x001D, "Sanitize"},
        {admin(0x80, 1), 0x001D, "Format NVM"},
        {admin(0x14, 0, 1), 0x001D, "Device Self-test"},
        {admin(0x0D, 1, 1), 0x001D, "Namespace Management"},
        {admin(0x10, 0, 0x11), 0x001D, "Firmware Commit"},
        {admin(0x02, 0, 0x000F0006), 0x001D, "Get Log Page of the self-test log"},
        {admin(0x02, 0, 0x007F0002), 0, "Get Log Page of the SMART log"},
        {admin(0x06, 0, 1), 0, "Identify"},
        {admin(0x0A, 0, 6), 0, "Get Features"},
        {admin(0x09, 0, 6, 1), 0, "Set Features"},
        {admin(0x18), 0, "Keep Alive"},
    };
    for (const auto& c : CASES) EXPECT_EQ(status(c.command), c.status) << c.why;
    EXPECT_TRUE(succeeded(controller->reset(ResetKind::SUBSYSTEM)));
    EXPECT_EQ(status(io(0x02, 1)), 0x001D) << "a reset does not end it";
    clock.advanceMs(10000);
    EXPECT_EQ(status(io(0x02, 1)), 0);
}

TEST_F(SanitizeOfASimulatedDrive, CountsOverwritePasses) {
    EXPECT_EQ(status(admin(0x84, 0, 0x43, 0xDEADBEEF)), 0) << "four passes";
    clock.advanceMs(7500);
    EXPECT_EQ(part(log(0x81, 512), 0, 8), (Bytes{0, 0xC0, 3 << 3 | 2, 1, 0x43, 0, 0, 0})) << "three are done";
    clock.advanceMs(2500);
    EXPECT_EQ(part(log(0x81, 512), 0, 8), (Bytes{0xFF, 0xFF, 4 << 3 | 1, 1, 0x43, 0, 0, 0}));
}

TEST_F(SanitizeOfASimulatedDrive, DeallocatesWhateverTheHostWants) {
    EXPECT_EQ(status(admin(0x84, 0, 0x202)), 0x4002) << "No-Deallocate in the error mode";
    EXPECT_EQ(status(admin(0x09, 0, 0x17, 1)), 0);
    EXPECT_EQ(status(admin(0x84, 0, 0x202)), 0) << "in the warning mode";
    clock.advanceMs(10000);
    EXPECT_EQ(number(log(0x81, 512), 2, 2), 0x104U) << "done, and deallocated";
}

TEST_F(SanitizeOfASimulatedDrive, IsRefusedWithTheRightStatus) {
    EXPECT_EQ(status(admin(0x84, 0, 0)), 0x4002) << "a reserved action";
    EXPECT_EQ(status(admin(0x84, 0, 5)), 0x4002);
    EXPECT_EQ(status(admin(0x84, 1, 2)), 0x4002) << "it has no namespace";
    EXPECT_EQ(status(admin(0x84, 0, 0x402)), 0x4002) << "a reserved bit";
    EXPECT_EQ(status(admin(0x84, 0, 1)), 0) << "there is no failure mode to leave";
    EXPECT_EQ(number(log(0x81, 512), 2, 2), 0x100U);
    description.supportsSanitize = false;
    describe();
    EXPECT_EQ(status(admin(0x84, 0, 2)), 0x4001);
    EXPECT_EQ(status(admin(0x02, 0, 0x007F0081)), 0x4109);
    EXPECT_EQ(number(identify(0x01), 328, 4), 0U);
}

}  // namespace
