#include "tests/unit/features/simulator/sata/SimulatedSataDrive.h"

namespace {

class SataIdentify : public SimulatedSataDrive {
protected:
    /// The text of words, whose bytes are exchanged.
    std::string text(size_t first, size_t words) {
        const Bytes page = identify();
        std::string text;
        for (size_t i = first; i < first + words; ++i) {
            text += static_cast<char>(page.at(2 * i + 1));
            text += static_cast<char>(page.at(2 * i));
        }
        return text;
    }
};

TEST_F(SataIdentify, NamesTheDriveWithBytesExchanged) {
    EXPECT_EQ(text(10, 10), "SIM1                ");
    EXPECT_EQ(text(23, 4), "TSIM0100");
    EXPECT_EQ(text(27, 20), "Simulated SATA SSD                      ");
    const Bytes page = identify();
    EXPECT_EQ(page[20], 'I');
    EXPECT_EQ(page[21], 'S');
}

TEST_F(SataIdentify, HasItsSignatureAndChecksum) {
    const Bytes page = identify();
    EXPECT_EQ(page[510], 0xA5);
    EXPECT_EQ(sum(page), 0U);
}

TEST_F(SataIdentify, SaysWhatTheDriveHas) {
    const struct {
        size_t word;
        uint16_t value;
        const char* why;
    } WORDS[] = {
        {0, 0x0040, "an ATA device"},
        {49, 0x2F00, "DMA and LBA"},
        {59, 0xFC00, "block erase, overwrite, crypto scramble, sanitize, as in ACS-3, antifreeze"},
        {60, 0x0000, "131,072 sectors"},
        {61, 0x0002, "131,072 sectors"},
        {69, 0x4130, "deterministic and zeros after TRIM, download by DMA, encrypts"},
        {76, 0x000E, "Gen 1 to 3, no NCQ"},
        {77, 0x0006, "at Gen 3"},
        {80, 0x0FF0, "to ACS-4"},
        {82, 0x006B, "SMART, security, power management, write cache, look-ahead; no HPA"},
        {83, 0x7409, "microcode, APM, 48-bit, flush commands"},
        {84, 0x4123, "error log, self-test, logs, WWN"},
        {85, 0x0069, "security is not enabled"},
        {86, 0xB401, "APM is not enabled"},
        {87, 0x4123, "as word 84"},
        {89, 0x0001, "2 minutes"},
        {90, 0x0001, "2 minutes"},
        {92, 0xFFFE, "the master password of the maker"},
        {100, 0x0000, "131,072 sectors"},
        {101, 0x0002, "131,072 sectors"},
        {105, 8, "sectors of a trim"},
        {106, 0x6003, "8 logical sectors in a physical one"},
        {119, 0x4118, "logs by DMA, microcode in pieces, accessible maximum address"},
        {120, 0x4118, "as word 119"},
        {128, 0x0021, "security, with enhanced erase"},
        {168, 3, "2.5 inches"},
        {169, 1, "TRIM"},
        {206, 1, "SCT, its status alone"},
        {217, 1, "does not rotate"},
        {222, 0x10FF, "serial, to SATA 3.3"},
        {234, 1, "sectors of a piece of microcode"},
        {235, 256, "sectors of a piece of microcode"},
    };
    for (const auto& each : WORDS) EXPECT_EQ(word(each.word), each.value) << each.word << ": " << each.why;
    EXPECT_EQ(word(108) >> 12, 5) << "NAA";
}

TEST_F(SataIdentify, LeavesOutWhatTheDescriptionTurnsOff) {
    description.supportsSanitize = description.supportsSelfTest = description.supportsFirmwareUpdate = false;
    description.supportsAccessibleMaxAddress = false;
    describe();
    EXPECT_EQ(word(59), 0);
    EXPECT_EQ(word(69), 0x4030);
    EXPECT_EQ(word(82), 0x046B) << "the host protected area";
    EXPECT_EQ(word(83), 0x7408);
    EXPECT_EQ(word(84), 0x4121);
    EXPECT_EQ(word(119), 0x4008);
    EXPECT_EQ(word(234), 0);
}

TEST_F(SataIdentify, ADriveThatTakesNoPiecesOfMicrocodeReportsNone) {
    description.supportsFirmwarePieces = false;
    describe();
    EXPECT_EQ(word(83), 0x7409) << "microcode";
    EXPECT_EQ(word(119), 0x4108);
    EXPECT_EQ(word(234), 0);
    EXPECT_EQ(number(log(0x30, 3), 16, 8), 0x8000000200000000U) << "mode 07h alone";
}

TEST_F(SataIdentify, AFaultFreezesOrLocksTheDrive) {
    description.faults.isFrozen = true;
    describe();
    EXPECT_EQ(word(128), 0x0029);
    description.faults.isFrozen = false;
    description.faults.isLocked = true;
    describe();
    EXPECT_EQ(word(128), 0x0027) << "enabled and locked";
    EXPECT_EQ(read(0).status, 0x51);
    EXPECT_EQ(security(0xF2, 0, "").status, 0x51) << "no password is right";
    EXPECT_EQ(security(0xF1, 0, "mine").status, 0x51);
}

TEST_F(SataIdentify, AWrongLengthOrProtocolIsAborted) {
    EXPECT_EQ(registers(readIn(0xEC, 0, 0, 0, 256)).error, 0x04);
    EXPECT_EQ(registers(noData(0xEC)).error, 0x04);
    EXPECT_EQ(registers({0xEC, Protocol::DMA_IN, false, 0, 0, 0, 0, 512}).error, 0x04);
    EXPECT_EQ(registers(noData(0x5C)).status, 0x51) << "a command that the drive does not have";
    EXPECT_TRUE(data.empty());
}

}  // namespace
