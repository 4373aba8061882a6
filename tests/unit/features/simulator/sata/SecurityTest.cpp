#include "tests/unit/features/simulator/sata/SimulatedSataDrive.h"

namespace {

constexpr uint8_t SET = 0xF1;
constexpr uint8_t UNLOCK = 0xF2;
constexpr uint8_t PREPARE = 0xF3;
constexpr uint8_t ERASE = 0xF4;
constexpr uint8_t FREEZE = 0xF5;
constexpr uint8_t DISABLE = 0xF6;
constexpr uint16_t USER = 0x0000;
constexpr uint16_t MASTER = 0x0001;
constexpr uint16_t ENHANCED = 0x0002;
constexpr uint16_t MAXIMUM = 0x0100;

class SataSecurity : public SimulatedSataDrive {
protected:
    SataSecurity() {
        EXPECT_EQ(write(5, 0xAB).status, 0x50);
        description.sanitizeSeconds = 0;
        describe();
    }
    Registers erase(uint16_t word0, const std::string& password) {
        EXPECT_EQ(registers(noData(PREPARE)).status, 0x50);
        return security(ERASE, word0, password);
    }
    /// The byte of sector 5; -1: it cannot be read.
    int content() { return read(5).status == 0x50 ? data.at(0) : -1; }
};

TEST_F(SataSecurity, APasswordIsDroppedByItsErase) {
    EXPECT_EQ(security(SET, USER, "mine").status, 0x50);
    EXPECT_EQ(word(128), 0x0023) << "enabled";
    EXPECT_EQ(word(85) & 2, 2);
    EXPECT_EQ(content(), 0xAB);
    EXPECT_EQ(erase(USER, "mine").status, 0x50);
    EXPECT_EQ(word(128), 0x0021);
    EXPECT_EQ(content(), 0);
}

TEST_F(SataSecurity, AnEraseNeedsPreparationAndTheRightPassword) {
    EXPECT_EQ(security(SET, USER, "mine").status, 0x50);
    EXPECT_EQ(security(ERASE, USER, "mine").error, 0x04) << "not prepared";
    EXPECT_EQ(registers(noData(PREPARE)).status, 0x50);
    EXPECT_EQ(word(128), 0x0023);
    EXPECT_EQ(security(ERASE, USER, "mine").error, 0x04) << "another command in between";
    EXPECT_EQ(erase(USER, "yours").error, 0x04);
    EXPECT_EQ(security(ERASE, USER, "mine").error, 0x04) << "the failed one used the preparation up";
    EXPECT_EQ(content(), 0xAB);
    EXPECT_EQ(erase(USER | ENHANCED, "mine").status, 0x50);
    EXPECT_EQ(content(), 0);
    EXPECT_EQ(erase(USER, "mine").error, 0x04) << "no password is set";
}

TEST_F(SataSecurity, APowerCycleLocksADriveWithAPassword) {
    EXPECT_EQ(security(SET, USER, "mine").status, 0x50);
    powerCycle();
    EXPECT_EQ(word(128), 0x0027) << "locked";
    EXPECT_EQ(content(), -1);
    EXPECT_EQ(write(5, 1).error, 0x04);
    EXPECT_EQ(security(SET, USER, "other").error, 0x04);
    EXPECT_EQ(security(DISABLE, USER, "mine").error, 0x04) << "not before it is unlocked";
    EXPECT_EQ(registers(smart(0xDA)).status, 0x50) << "SMART goes on";
    EXPECT_EQ(security(UNLOCK, USER, "mine").status, 0x50);
    EXPECT_EQ(word(128), 0x0023);
    EXPECT_EQ(content(), 0xAB);
    EXPECT_EQ(security(DISABLE, USER, "mine").status, 0x50);
    EXPECT_EQ(word(128), 0x0021);
}

TEST_F(SataSecurity, FiveWrongPasswordsAreAllUntilAPowerCycle) {
    EXPECT_EQ(security(SET, USER, "mine").status, 0x50);
    powerCycle();
    for (int attempt = 0; attempt < 4; ++attempt) EXPECT_EQ(security(UNLOCK, USER, "wrong").error, 0x04);
    EXPECT_EQ(word(128), 0x0027);
    EXPECT_EQ(security(UNLOCK, USER, "wrong").error, 0x04);
    EXPECT_EQ(word(128), 0x0037) << "count expired";
    EXPECT_EQ(security(UNLOCK, USER, "mine").error, 0x04);
    EXPECT_EQ(erase(USER, "mine").error, 0x04);
    powerCycle();
    EXPECT_EQ(word(128), 0x0027);
    EXPECT_EQ(security(UNLOCK, USER, "mine").status, 0x50);
}

TEST_F(SataSecurity, TheMasterPasswordHelpsAtLevelHighAlone) {
    data.assign(512, 0);
    data[0] = 1;
    data[2] = 'M';
    data[34] = 0x34;
    data[35] = 0x12;
    EXPECT_EQ(registers({SET, Protocol::PIO_OUT, false, 0, 0, 0, 0, 512}).status, 0x50);
    EXPECT_EQ(word(92), 0x1234);
    EXPECT_EQ(word(128), 0x0021) << "the master password alone enables nothing";
    EXPECT_EQ(security(SET, USER, "mine").status, 0x50);
    powerCycle();
    EXPECT_EQ(security(UNLOCK, MASTER, "M").status, 0x50);
    EXPECT_EQ(security(DISABLE, MASTER, "M").status, 0x50);

    EXPECT_EQ(security(SET, USER | MAXIMUM, "mine").status, 0x50);
    EXPECT_EQ(word(128), 0x0123);
    EXPECT_EQ(security(DISABLE, MASTER, "M").error, 0x04);
    powerCycle();
    EXPECT_EQ(security(UNLOCK, MASTER, "M").error, 0x04);
    EXPECT_EQ(erase(MASTER, "M").status, 0x50) << "the way out: without the data";
    EXPECT_EQ(word(128), 0x0021);
}

TEST_F(SataSecurity, FrozenItTakesNothingUntilAPowerCycle) {
    EXPECT_EQ(registers(noData(FREEZE)).status, 0x50);
    EXPECT_EQ(word(128), 0x0029);
    EXPECT_EQ(security(SET, USER, "mine").error, 0x04);
    EXPECT_EQ(registers(noData(PREPARE)).error, 0x04);
    EXPECT_EQ(content(), 0xAB);
    powerCycle();
    EXPECT_EQ(word(128), 0x0021);
}

TEST_F(SataSecurity, ALossOfPowerWithinTheEraseLeavesALockedDrive) {
    description.sanitizeSeconds = 100;
    describe();
    EXPECT_EQ(word(89), 1);
    EXPECT_EQ(security(SET, USER, "mine").status, 0x50);
    EXPECT_EQ(registers(noData(PREPARE)).status, 0x50);
    data.assign(512, 0);
    const std::string password = "mine";
    std::copy(password.begin(), password.end(), data.begin() + 2);
    EXPECT_EQ(run({ERASE, Protocol::PIO_OUT, false, 0, 0, 0, 0, 512}).delayMs, 100000U);
    clock.advanceMs(50000);
    EXPECT_EQ(run(readIn(0xEC, 0, 0, 0, 512)).delivery, Delivery::BUSY);
    powerCycle();
    EXPECT_EQ(word(128), 0x0027);
    clock.advanceMs(50000);
    EXPECT_EQ(word(128), 0x0027) << "it does not go on";
    EXPECT_EQ(erase(USER, "mine").status, 0x50) << "again, with the same password";
    clock.advanceMs(100000);
    EXPECT_EQ(word(128), 0x0021);
    EXPECT_EQ(content(), 0);
}

TEST_F(SataSecurity, APasswordOfAnotherLengthIsAborted) {
    data.assign(511, 0);
    EXPECT_EQ(registers({SET, Protocol::PIO_OUT, false, 0, 0, 0, 0, 511}).error, 0x04);
    EXPECT_EQ(word(128), 0x0021);
}

/// None of them counts as an attempt, and none changes the state.
TEST_F(SataSecurity, WhatIsNotPossibleIsAborted) {
    const auto abortsAll = [&](const char* when, std::initializer_list<uint8_t> opcodes) {
        for (const uint8_t opcode : opcodes)
            EXPECT_EQ(security(opcode, USER, "mine"), (Registers{0x04, 0x51, 0x40, 0, 0})) << when << unsigned{opcode};
    };
    abortsAll("no password is set: ", {UNLOCK, DISABLE, ERASE});
    EXPECT_EQ(word(128), 0x0021);
    EXPECT_EQ(security(SET, USER, "mine").status, 0x50);
    for (const uint8_t opcode : {SET, UNLOCK, DISABLE, ERASE}) {
        EXPECT_EQ(registers(noData(PREPARE)).status, 0x50);
        data.assign(511, 0);
        EXPECT_EQ(registers({opcode, Protocol::PIO_OUT, false, 0, 0, 0, 0, 511}).error, 0x04) << unsigned{opcode};
    }
    EXPECT_EQ(security(DISABLE, USER, "wrong").error, 0x04);
    EXPECT_EQ(word(128), 0x0023);
    EXPECT_EQ(registers(noData(FREEZE)).status, 0x50);
    abortsAll("frozen: ", {SET, UNLOCK, DISABLE, ERASE});
    EXPECT_EQ(word(128), 0x002B);
    powerCycle();
    EXPECT_EQ(registers(noData(FREEZE)).error, 0x04) << "a locked drive is not frozen";
    EXPECT_EQ(word(128), 0x0027);
    EXPECT_EQ(security(UNLOCK, USER, "mine").status, 0x50);
    EXPECT_EQ(content(), 0xAB);
}

TEST_F(SataSecurity, WrongPasswordsForAnUnlockedDriveAreNotCounted) {
    EXPECT_EQ(security(SET, USER, "mine").status, 0x50);
    for (int attempt = 0; attempt < 6; ++attempt) EXPECT_EQ(security(UNLOCK, USER, "wrong").error, 0x04);
    EXPECT_EQ(word(128), 0x0023) << "not expired";
    EXPECT_EQ(security(DISABLE, USER, "mine").status, 0x50);
}

TEST_F(SataSecurity, MasterIdentifiersThatAreNoneStayAsTheyWere) {
    for (const uint16_t id : {uint16_t{0x0000}, uint16_t{0xFFFF}}) {
        data.assign(512, 0);
        data[0] = 1;
        data[34] = static_cast<uint8_t>(id);
        data[35] = static_cast<uint8_t>(id >> 8);
        EXPECT_EQ(registers({SET, Protocol::PIO_OUT, false, 0, 0, 0, 0, 512}).status, 0x50);
        EXPECT_EQ(word(92), 0xFFFE) << id;
    }
}

}  // namespace
