#include "tests/unit/features/simulator/SimulatedDrive.h"

using features::simulator::ModelId;

namespace {

using IdentifyOfASimulatedDrive = SimulatedDrive;

TEST_F(IdentifyOfASimulatedDrive, ReportsItsIdentity) {
    const Bytes controllerData = identify(0x01);
    EXPECT_EQ(controllerData.size(), 4096U);
    EXPECT_EQ(text(controllerData, 4, 20), "SIM1                ");
    EXPECT_EQ(text(controllerData, 24, 40), "VELKO Simulated NVMe SSD                ");
    EXPECT_EQ(text(controllerData, 64, 8), "VSIM0100");
    EXPECT_EQ(number(controllerData, 80, 4), 0x00010400U);
    EXPECT_EQ(controllerData[77], 7) << "512 KiB in pages of 4 KiB";
    EXPECT_EQ(number(controllerData, 280, 8), 64U << 20);
    EXPECT_EQ(number(controllerData, 296, 8), 0U) << "the first namespace takes it all";
}

TEST_F(IdentifyOfASimulatedDrive, ReportsItsFirstNamespace) {
    const Bytes namespaceData = identify(0x00, 1);
    EXPECT_EQ(number(namespaceData, 0, 8), 131072U);
    EXPECT_EQ(number(namespaceData, 8, 8), 131072U);
    EXPECT_EQ(number(namespaceData, 16, 8), 0U);
    EXPECT_EQ(namespaceData[25], 3) << "four formats";
    EXPECT_EQ(part(namespaceData, 128, 16), (Bytes{0, 0, 9, 2, 8, 0, 9, 3, 0, 0, 12, 0, 8, 0, 12, 1}));
    EXPECT_EQ(part(identify(0x02), 0, 8), (Bytes{1, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(IdentifyOfASimulatedDrive, ModelsDiffer) {
    describe(ModelId::OCP);
    EXPECT_EQ(text(identify(0x01), 24, 40), "Simulated OCP Datacenter NVMe SSD       ");
    EXPECT_EQ(part(identify(0x17), 48, 16),
              (Bytes{0xC1, 0x94, 0xD5, 0x5B, 0xE0, 0x94, 0x47, 0x94, 0xA2, 0x1D, 0x29, 0x99, 0x8F, 0x56, 0xBE, 0x6F}));
}

TEST_F(IdentifyOfASimulatedDrive, RefusesWhatItDoesNotHave) {
    const struct {
        features::simulator::SubmissionEntry command;
        uint16_t status;
        const char* why;
    } CASES[] = {
        {admin(0x06, 0, 0x04), 0x4002, "no NVM sets"},
        {admin(0x06, 0, 0x17), 0x4002, "a UUID list has the other model alone"},
        {admin(0x06, 1, 0x01), 0x4002, "the controller has no namespace"},
        {admin(0x06, 0, 0x00), 0x400B, "namespace 0"},
        {admin(0x06, 17, 0x00), 0x400B, "beyond NN"},
        {admin(0x06, 2, 0x03), 0x400B, "not active"},
        {admin(0x06, 0xFFFFFFFE, 0x02), 0x400B, "reserved"},
        {admin(0x06, 0, 0x10001), 0x4002, "no controller identifier in this one"},
        {admin(0x06, 0, 0x101), 0x4002, "a reserved bit"},
        {admin(0x07), 0x4001, "no such opcode"},
    };
    for (const auto& c : CASES) EXPECT_EQ(status(c.command), c.status) << c.why;
}

}  // namespace
