#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>
#include <vector>

#include "features/ata/Commands.h"
#include "features/transport/linux/AtaSense.h"

namespace features::transport {
namespace {

using ata::AtaCommand;
using ata::AtaResult;
using ata::RegistersMissing;
namespace commands = ata::commands;

const char* nameOf(RegistersMissing missing) {
    constexpr const char* NAMES[] = {"whole",     "not asked",    "no sense",   "no descriptor",
                                     "too short", "upper in log", "upper lost", "untrusted"};
    return NAMES[static_cast<std::size_t>(missing)];
}

std::vector<uint8_t> bytesOf(const std::string& hex) {
    std::vector<uint8_t> bytes;
    std::istringstream words(hex);
    for (std::string word; words >> word;) bytes.push_back(static_cast<uint8_t>(std::stoul(word, nullptr, 16)));
    return bytes;
}

/// "ok, whole: E00 S50 D00 C0001 L0000000000FF", or the status and its message.
std::string read(const AtaCommand& command, uint8_t status, const std::string& sense, uint16_t hostStatus = 0) {
    const std::vector<uint8_t> bytes = bytesOf(sense);
    const auto result = ataResultOf(command, {status, hostStatus, bytes.data(), bytes.size()}, "/dev/sda");
    if (!result) {
        const ostrel::core::Status error = result.error();
        return std::to_string(error.getCategory()) + "/" + std::to_string(error.getCode()) + " " + error.getMessage();
    }
    std::string text = std::string(result->succeeded ? "ok, " : "failed, ") + nameOf(result->missing);
    if (!result->registers) return text;
    const ata::Registers& found = *result->registers;
    char registers[64];
    (void)std::snprintf(registers, sizeof registers, ": E%02X S%02X D%02X C%04X L%012llX", found.error, found.status,
                        found.device, found.count, static_cast<unsigned long long>(found.lba));  // it fits
    return text + registers;
}

AtaCommand asking() {
    AtaCommand command(commands::smartReturnStatus);
    command.wantsRegisters = true;
    return command;
}

AtaCommand silent() {
    return AtaCommand(commands::smartReturnStatus);
}

/// A descriptor 09h with the error, count, LBA bytes, device and status that follow 09 0C 00.
const std::string DESCRIPTOR = "09 0C 01 04 12 34 A3 A0 A4 A1 A5 A2 40 51";
const std::string GOOD_DESCRIPTOR = "09 0C 00 00 00 01 00 00 00 4F 00 C2 00 50";

TEST(AtaSense, ASuccessThatAskedForNothingHasNoRegisters) {
    EXPECT_EQ(read(silent(), 0, ""), "ok, not asked");
    EXPECT_EQ(read(silent(), 0, "70 00 00 00 00 00 00 0A"), "ok, not asked");
}

TEST(AtaSense, ReadsTheDescriptorOfASuccess) {
    EXPECT_EQ(read(asking(), 2, "72 01 00 1D 00 00 00 0E " + GOOD_DESCRIPTOR),
              "ok, whole: E00 S50 D00 C0001 L000000C24F00");
    EXPECT_EQ(read(asking(), 2, "72 01 00 1D 00 00 00 1A 00 0A 80 00 00 00 00 00 00 00 00 00 " + GOOD_DESCRIPTOR),
              "ok, whole: E00 S50 D00 C0001 L000000C24F00")
        << "it is not the first descriptor";
    EXPECT_EQ(read(asking(), 0, "72 00 00 00 00 00 00 0E " + GOOD_DESCRIPTOR),
              "ok, whole: E00 S50 D00 C0001 L000000C24F00")
        << "an adapter that returns a good status with sense data";
}

TEST(AtaSense, PutsEachByteOfTheDescriptorInItsRegister) {
    EXPECT_EQ(read(asking(), 2, "72 0B 00 00 00 00 00 0E " + DESCRIPTOR),
              "failed, whole: E04 S51 D40 C1234 LA5A4A3A2A1A0");
}

TEST(AtaSense, ARegisterThatIsMissingIsNotZero) {
    EXPECT_EQ(read(asking(), 0, ""), "ok, no sense");
    EXPECT_EQ(read(asking(), 2, "72 01 00 1D 00 00 00 00"), "ok, no descriptor");
    EXPECT_EQ(read(asking(), 2, "72 01 00 1D 00 00 00 0C 00 0A 80 00 00 00 00 00 00 00 00 00"), "ok, no descriptor");
    EXPECT_EQ(read(asking(), 2, "72 01 00 1D 00 00 00 0E 09 0C 00 00"), "ok, too short") << "the sense data ends";
    EXPECT_EQ(read(asking(), 2, "72 01 00 1D 00 00 00 0E 09 0C 00 00 00 00 00 00 00 00 00 00 00 00"), "ok, too short")
        << "the kernel fills a descriptor that was cut with zeros";
    EXPECT_EQ(read(asking(), 2, "72 01 00 1D 00 00 00 0C 09 0A 00 00 00 01 00 00 00 4F 00 C2 00 50"), "ok, too short")
        << "shorter by its own length";
    EXPECT_EQ(read(asking(), 2, "70 00 01 00 00 00 00 0A 00 00 00 00 00 1D 00 00 00 00"), "ok, no descriptor")
        << "an initiator that drops the registers";
}

TEST(AtaSense, ReadsFixedFormatWithItsMarksAlone) {
    EXPECT_EQ(read(silent(), 2, "F0 00 0B 04 51 00 01 0A 00 4F C2 00 00 00 00 00 00 00"),
              "failed, whole: E04 S51 D00 C0001 L00000000C24F")
        << "Linux 6.12: VALID";
    EXPECT_EQ(read(asking(), 2, "70 00 01 00 50 40 FF 0A 00 01 02 03 00 1D 00 00 00 00"),
              "ok, whole: E00 S50 D40 C00FF L000000030201")
        << "ASC/ASCQ 00h/1Dh";
    EXPECT_EQ(read(asking(), 2, "70 00 01 00 50 40 FF 0A 00 01 02 03 00 00 00 00 00 00"), "ok, no descriptor");
    EXPECT_EQ(read(asking(), 2, "F0 00 01 00 00 40 FF 0A 00 01 02 03 00 1D 00 00 00 00"), "ok, no descriptor")
        << "STATUS 00h is no register";
    EXPECT_EQ(read(asking(), 2, "F0 00 01 00 50 40 FF 0A 20 01 02 03 00 1D"),
              "ok, upper lost: E00 S50 D40 C00FF L000000030201");
    EXPECT_EQ(read(asking(), 2, "F0 00 01 00 50 40 FF 0A 43 01 02 03 00 1D"),
              "ok, upper in log: E00 S50 D40 C00FF L000000030201");
    EXPECT_EQ(read(asking(), 2, "F0 00 01 00 50"), "ok, no descriptor") << "cut off";
}

TEST(AtaSense, RegistersInTheWrongPlaceAreForMessagesAlone) {
    EXPECT_EQ(read(silent(), 2, "70 00 0B 00 00 00 00 0A 04 51 00 01 4F C2 00 00 00 00"),
              "failed, untrusted: E04 S51 D00 C0001 L000000000000")
        << "Linux 6.1";
    EXPECT_EQ(read(asking(), 2, "70 00 0B 00 00 00 00 0A 04 51 00 01 00 1D 00 00 00 00"),
              "failed, untrusted: E04 S51 D00 C0001 L000000000000")
        << "LBA bytes in the place of ASC and ASCQ that look like the mark";
    EXPECT_EQ(read(silent(), 2, "70 00 0B 00 00 00 00 0A 04 D1 00 01 00 00 00 00 00 00"), "failed, no descriptor")
        << "BSY: nothing is valid";
    EXPECT_EQ(read(silent(), 2, "70 00 0B 00 00 00 00 0A 00 40 00 01 00 00 00 00 00 00"), "failed, no descriptor")
        << "Linux 6.1 after a time-out";
    EXPECT_EQ(read(silent(), 2, "70 00 0B 00 00 00 00 0A 00 00 00 00 00 00 00 00 00 00"), "failed, no descriptor")
        << "Linux 6.12 after a time-out";
    EXPECT_EQ(read(silent(), 2, "70 00 03 00 00 00 00 0A 04 51 00 01 11 00 00 00 00 00"), "failed, no descriptor")
        << "a medium error has something else there";
}

TEST(AtaSense, SuccessIsBeyondDoubt) {
    EXPECT_EQ(read(asking(), 2, "72 0B 00 00 00 00 00 0E 09 0C 00 00 00 01 00 00 00 00 00 00 00 40"),
              "failed, untrusted: E00 S40 D00 C0001 L000000000000")
        << "aborted without an error of the drive";
    EXPECT_EQ(read(asking(), 2, "72 01 00 1D 00 00 00 0E 09 0C 00 00 00 01 00 00 00 00 00 00 00 80"),
              "failed, untrusted: E00 S80 D00 C0001 L000000000000")
        << "BSY";
    EXPECT_EQ(read(asking(), 2, "72 01 00 1D 00 00 00 0E 09 0C 00 04 00 01 00 00 00 00 00 00 00 51"),
              "failed, whole: E04 S51 D00 C0001 L000000000000")
        << "the drive's error outweighs the sense key";
    EXPECT_EQ(read(asking(), 2, "72 01 00 1D 00 00 00 0E 09 0C 00 00 00 01 00 00 00 00 00 00 00 70"),
              "failed, whole: E00 S70 D00 C0001 L000000000000")
        << "device fault";
    EXPECT_EQ(read(silent(), 2, "72 04 44 00 00 00 00 00"), "failed, no descriptor");
    EXPECT_EQ(read(silent(), 2, "70 00 00 00 00 00 00 0A 00 00 00 00 00 00 00 00 00 00"), "failed, no descriptor")
        << "no sense and no reason for a check condition";
    EXPECT_EQ(read(silent(), 2, "70 00 01 00 00 00 00 0A 00 00 00 00 00 00 00 00 00 00"), "ok, no descriptor")
        << "recovered";
    EXPECT_EQ(read(asking(), 0, "70 00 00 00 00 00 00 0A 00 00 00 00 00 00 00 00 00 00"), "ok, no descriptor");
    EXPECT_EQ(read(asking(), 0, "70 00 0B 00 00 00 00 0A 04 51 00 01 00 00 00 00 00 00"),
              "failed, untrusted: E04 S51 D00 C0001 L000000000000")
        << "a good status with the sense data of a failure";
    EXPECT_EQ(read(asking(), 0, "70 00 04 00 00 00 00 0A 00 00 00 00 44 00 00 00 00 00"), "failed, no descriptor");
}

TEST(AtaSense, AnErrorOfAnEarlierCommandIsNoSuccessOfThisOne) {
    EXPECT_EQ(read(asking(), 2, "73 01 00 1D 00 00 00 0E " + GOOD_DESCRIPTOR),
              "failed, untrusted: E00 S50 D00 C0001 L000000C24F00");
    EXPECT_EQ(read(asking(), 2, "F1 00 01 00 50 00 01 0A 00 4F C2 00 00 1D 00 00 00 00"),
              "failed, untrusted: E00 S50 D00 C0001 L00000000C24F");
    EXPECT_EQ(read(silent(), 2, "71 00 01 00 00 00 00 0A 00 00 00 00 00 00 00 00 00 00"), "failed, untrusted");
    EXPECT_EQ(read(asking(), 0, "73 00 00 00 00 00 00 00"), "failed, untrusted");
    EXPECT_EQ(read(asking(), 2, "74 01 00 1D 00 00 00 00"),
              "0/17 No sense data available when attempting to get returned task file. /dev/sda.")
        << "no format of sense data";
}

TEST(AtaSense, AReadWithDataStillRequestedIsGoodOnLinux612) {
    AtaCommand identify(commands::identifyDevice);
    identify.wantsRegisters = true;
    const std::string sense = "F0 00 0B 00 58 00 01 0A 00 00 00 00 00 00 00 00 00 00";
    EXPECT_EQ(read(identify, 2, sense), "ok, whole: E00 S58 D00 C0001 L000000000000");
    EXPECT_EQ(read(asking(), 2, sense), "failed, untrusted: E00 S58 D00 C0001 L000000000000");
    EXPECT_EQ(read(identify, 2, "F0 00 0B 00 50 00 01 0A 00 00 00 00 00 00 00 00 00 00"),
              "failed, untrusted: E00 S50 D00 C0001 L000000000000")
        << "no data is requested";
    EXPECT_EQ(read(identify, 2, "F0 00 03 00 58 00 01 0A 00 00 00 00 00 00 00 00 00 00"),
              "failed, untrusted: E00 S58 D00 C0001 L000000000000")
        << "a medium error";
    identify.wantsRegisters = false;
    EXPECT_EQ(read(identify, 2, sense), "failed, untrusted: E00 S58 D00 C0001 L000000000000");
}

TEST(AtaSense, ARefusalOfTheTranslatorNamesWhatItSaid) {
    EXPECT_EQ(read(silent(), 2, "70 00 05 00 00 00 00 0A 00 00 00 00 24 00 00 C0 00 04"),
              "0/11 SCSI command reported a problem. The driver of /dev/sda or its controller refused SMART RETURN "
              "STATUS: illegal request, ASC/ASCQ 0x24/0x00. The command did not reach the drive.");
    EXPECT_EQ(read(silent(), 2, "72 05 20 00 00 00 00 00"),
              "0/11 SCSI command reported a problem. The driver of /dev/sda or its controller refused SMART RETURN "
              "STATUS: illegal request, ASC/ASCQ 0x20/0x00. The command did not reach the drive.");
    EXPECT_EQ(read(silent(), 2, "72 05 00 00 00 00 00 0E " + DESCRIPTOR),
              "failed, whole: E04 S51 D40 C1234 LA5A4A3A2A1A0")
        << "with the drive's own registers it is the drive's";
}

/// libata makes sense keys of the bits of ERROR that a translator has for what it did not send.
TEST(AtaSense, AnErrorOfTheDriveIsTheDrivesWhateverTheSenseKey) {
    EXPECT_EQ(read(silent(), 2, "F0 00 05 10 51 40 01 0A 00 4F C2 00 21 00 00 00 00 00"),
              "failed, whole: E10 S51 D40 C0001 L00000000C24F")
        << "Linux 6.12: IDNF";
    EXPECT_EQ(read(silent(), 2, "F0 00 06 24 51 40 01 0A 00 4F C2 00 28 00 00 00 00 00"),
              "failed, whole: E24 S51 D40 C0001 L00000000C24F")
        << "bit 5 of ERROR, once \"media changed\"";
    EXPECT_EQ(read(silent(), 2, "F0 00 02 08 51 40 01 0A 00 4F C2 00 04 00 00 00 00 00"),
              "failed, whole: E08 S51 D40 C0001 L00000000C24F");
    EXPECT_EQ(read(silent(), 2, "70 00 05 00 00 00 00 0A 10 51 40 01 4F C2 00 00 00 00"),
              "failed, untrusted: E10 S51 D40 C0001 L000000000000")
        << "Linux 6.1";
    EXPECT_EQ(read(silent(), 2, "70 00 06 00 00 00 00 0A 24 51 40 01 4F C2 00 00 00 00"),
              "failed, untrusted: E24 S51 D40 C0001 L000000000000");
    EXPECT_EQ(read(silent(), 2, "F0 00 05 00 50 40 01 0A 00 00 00 00 24 00 00 C0 00 04"),
              "0/11 SCSI command reported a problem. The driver of /dev/sda or its controller refused SMART RETURN "
              "STATUS: illegal request, ASC/ASCQ 0x24/0x00. The command did not reach the drive.")
        << "no error in STATUS: the refusal is the translator's";
}

TEST(AtaSense, TheTransportsErrorsComeFirst) {
    const std::string good = "72 01 00 1D 00 00 00 0E " + GOOD_DESCRIPTOR;
    EXPECT_EQ(
        read(asking(), 2, good, 3),
        "0/69 The command was detected to have timed-out. The drive of /dev/sda did not answer in time (errno 62: "
        "Timer expired).");
    for (const uint16_t host : {uint16_t{1}, uint16_t{4}}) {
        EXPECT_EQ(
            read(asking(), 2, good, host),
            "0/70 The device (object) was unavailable. The drive of /dev/sda is gone (errno 19: No such device).");
    }
    EXPECT_EQ(read(asking(), 2, good, 7),
              "0/86 No completion was available. Can't tell if command passed or failed. /dev/sda: host status 0x07.");
    EXPECT_EQ(read(silent(), 0x18, ""),
              "0/86 No completion was available. Can't tell if command passed or failed. /dev/sda: SCSI status 0x18.");
    EXPECT_EQ(read(silent(), 2, ""),
              "0/17 No sense data available when attempting to get returned task file. /dev/sda.");
    EXPECT_EQ(read(silent(), 2, "70 00 02 00 00 00 00 0A 00 00 00 00 04 00 00 00 00 00"),
              "0/70 The device (object) was unavailable. /dev/sda: not ready, ASC/ASCQ 0x04/0x00.");
    EXPECT_EQ(read(silent(), 2, "70 00 06 00 00 00 00 0A 00 00 00 00 29 00 00 00 00 00"),
              "0/70 The device (object) was unavailable. /dev/sda: unit attention, ASC/ASCQ 0x29/0x00.");
}

TEST(AtaSense, RecognisesWhatIsSentAgainAndWhatMayBeATimeOut) {
    const auto end = [](const std::vector<uint8_t>& bytes, uint16_t host = 0) {
        return ScsiEnd{2, host, bytes.data(), bytes.size()};
    };
    const std::vector<uint8_t> attention = bytesOf("70 00 06 00 00 00 00 0A 00 00 00 00 29 00 00 00 00 00");
    const std::vector<uint8_t> aborted = bytesOf("72 0B 00 00 00 00 00 00");
    EXPECT_TRUE(isUnitAttention(end(attention)));
    EXPECT_FALSE(isUnitAttention(end(aborted)));
    EXPECT_FALSE(isUnitAttention(end(attention, 3)));
    EXPECT_FALSE(isUnitAttention(end(bytesOf("72 06 28 00 00 00 00 0E 09 0C 00 24 00 01 00 00 00 00 00 00 40 51"))))
        << "the drive has failed the command: it is not sent a second time";
    EXPECT_FALSE(isUnitAttention(end(bytesOf("72 06 29 00 00 00 00 0E " + GOOD_DESCRIPTOR))))
        << "it has carried it out";
    EXPECT_FALSE(isUnitAttention(end(bytesOf("F0 00 06 24 51 40 01 0A 00 00 00 00 28 00 00 00 00 00"))))
        << "Linux 6.12";
    EXPECT_FALSE(isUnitAttention(end(bytesOf("70 00 06 00 00 00 00 0A 24 51 40 01 00 00 00 00 00 00")))) << "Linux 6.1";
    EXPECT_TRUE(isTimeout(end({}, 3), false));
    EXPECT_TRUE(isTimeout(end(aborted), true));
    EXPECT_FALSE(isTimeout(end(aborted), false)) << "the drive's own error";
    EXPECT_FALSE(isTimeout(end(attention), true));
    EXPECT_FALSE(isTimeout(end(aborted, 7), true)) << "the transport says what it was";
    EXPECT_FALSE(isTimeout(end({}), true)) << "a slow command that nothing is said of";
}

}  // namespace
}  // namespace features::transport
