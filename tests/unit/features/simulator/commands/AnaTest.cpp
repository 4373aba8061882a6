#include "tests/unit/features/simulator/SimulatedDrive.h"

using features::simulator::AnaState;
using features::simulator::Controller;
using features::simulator::Delivery;
using features::simulator::ModelId;
using features::simulator::ResetKind;

namespace {

/// A drive with two controllers: `run()` and all that uses it is on the one that use() chose, the first before.
class DriveWithTwoControllers : public SimulatedDrive {
protected:
    DriveWithTwoControllers() { remakeAs(ModelId::VELKO); }

    void remakeAs(ModelId model) {
        description.hasTwoControllers = true;
        describe(model);
        reopen();
        second = std::make_unique<Controller>(path(), clock, 2);
    }
    uint16_t statusOn(uint16_t id, const features::simulator::SubmissionEntry& command) {
        return on(id, command).statusField;
    }
    features::simulator::CompletionEntry on(uint16_t id, const features::simulator::SubmissionEntry& command) {
        const auto completion = (id == 1 ? *controller : *second).execute(command, data);
        EXPECT_TRUE(completion) << completion.error().getMessage();
        return completion.value_or(features::simulator::CompletionEntry());
    }
    Bytes identifyOn(uint16_t id, uint32_t cns, uint32_t nsid = 0) {
        EXPECT_EQ(statusOn(id, admin(0x06, nsid, cns)), 0);
        return data;
    }
    /// The first bytes of log page 0Ch.
    Bytes anaLog(uint16_t id, uint32_t bytes, uint32_t lsp = 0) {
        EXPECT_EQ(statusOn(id, admin(0x02, 0xFFFFFFFF, 0x0C | lsp << 8 | (bytes / 4 - 1) << 16)), 0);
        return data;
    }
    void setAna(std::vector<features::simulator::AnaFault> faults) {
        description.faults.ana = std::move(faults);
        describe();
    }
    uint16_t attach(uint16_t id, uint32_t nsid, uint32_t select, const Bytes& list) {
        data = list;
        data.resize(4096);
        return statusOn(id, admin(0x15, nsid, select));
    }
    uint32_t eventOn(uint16_t id) {
        const auto event = (id == 1 ? *controller : *second).takeEvent();
        EXPECT_TRUE(event) << event.error().getMessage();
        return event && *event ? (*event)->dword0 : 0;
    }
    uint16_t writeOn(uint16_t id, uint8_t byte) {
        data.assign(512, byte);
        return statusOn(id, io(0x01, 1));
    }

    std::unique_ptr<Controller> second;
};

TEST_F(DriveWithTwoControllers, IdentifiesEach) {
    for (uint16_t id = 1; id <= 2; ++id) {
        const Bytes structure = identifyOn(id, 0x01);
        EXPECT_EQ(structure[76], 0x0B) << "CMIC: ports, controllers, ANA";
        EXPECT_EQ(number(structure, 78, 2), id) << "CNTLID";
        EXPECT_EQ(number(structure, 92, 4), 0xF00U) << "OAES";
        EXPECT_EQ(structure[342], 10) << "ANATT";
        EXPECT_EQ(structure[343], 0x5F) << "ANACAP";
        EXPECT_EQ(number(structure, 344, 4), 16U) << "ANAGRPMAX";
        EXPECT_EQ(number(structure, 348, 4), 16U) << "NANAGRPID";
        EXPECT_EQ(text(structure, 4, 20), "SIM1                ");
    }
    remakeAs(ModelId::NVME_1_4);
    EXPECT_EQ(identifyOn(2, 0x01)[76], 0x0B);
}

TEST_F(DriveWithTwoControllers, SharesItsFirstNamespace) {
    for (uint16_t id = 1; id <= 2; ++id) {
        const Bytes structure = identifyOn(id, 0x00, 1);
        EXPECT_EQ(structure[30], 1) << "NMIC";
        EXPECT_EQ(number(structure, 92, 4), 1U) << "ANAGRPID";
        EXPECT_EQ(number(structure, 48, 8), 64U << 20) << "NVMCAP";
        EXPECT_EQ(part(identifyOn(id, 0x12, 1), 0, 8), (Bytes{2, 0, 1, 0, 2, 0, 0, 0}));
        EXPECT_EQ(part(identifyOn(id, 0x13), 0, 8), (Bytes{2, 0, 1, 0, 2, 0, 0, 0}));
        EXPECT_EQ(part(identifyOn(id, 0x00020013), 0, 8), (Bytes{1, 0, 2, 0, 0, 0, 0, 0})) << "from 2 on";
    }
    EXPECT_EQ(writeOn(1, 0xA5), 0);
    EXPECT_EQ(statusOn(2, io(0x02, 1)), 0);
    EXPECT_EQ(data, Bytes(512, 0xA5));
}

TEST_F(DriveWithTwoControllers, HasALogPageOfStates) {
    const Bytes optimized = {0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0,  // CHNGCNT, NGRPDESC
                             1, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // ANAGRPID, NNSIDV, CHNGCNT
                             1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // state
                             1, 0, 0, 0, 0, 0, 0, 0};                         // NSID
    EXPECT_EQ(anaLog(1, 56), optimized);
    EXPECT_EQ(anaLog(2, 56), optimized);
    EXPECT_EQ(log(0x00, 1024)[0x0C * 4], 1) << "supported";
    setAna({{2, 1, AnaState::INACCESSIBLE}});
    Bytes inaccessible = optimized;
    inaccessible[0] = inaccessible[24] = 1;  // the counts of changes
    inaccessible[32] = 3;
    EXPECT_EQ(anaLog(1, 56), optimized);
    EXPECT_EQ(anaLog(2, 56), inaccessible);
    inaccessible[20] = inaccessible[48] = 0;
    EXPECT_EQ(anaLog(2, 56, 1), inaccessible) << "Return Groups Only";
    EXPECT_TRUE(succeeded(second->reset(ResetKind::CONTROLLER)));
    const Bytes reset = anaLog(2, 56);
    EXPECT_EQ(part(reset, 0, 8), Bytes(8)) << "the counts begin again";
    EXPECT_EQ(part(reset, 24, 8), Bytes(8));
    EXPECT_EQ(reset[32], 3);
}

TEST_F(DriveWithTwoControllers, RefusesWhatUsesANamespaceThatItCannotReach) {
    const struct {
        AnaState state;
        uint8_t inLog;
        uint16_t status;
    } CASES[] = {
        {AnaState::OPTIMIZED, 0x01, 0},         {AnaState::NON_OPTIMIZED, 0x02, 0},
        {AnaState::INACCESSIBLE, 0x03, 0x0302}, {AnaState::PERSISTENT_LOSS, 0x04, 0x0301},
        {AnaState::CHANGE, 0x0F, 0x0303},
    };
    for (const auto& c : CASES) {
        SCOPED_TRACE(int{c.inLog});
        setAna({{2, 0, c.state}});
        EXPECT_EQ(anaLog(2, 56)[32], c.inLog);
        EXPECT_EQ(writeOn(2, 1), c.status);
        EXPECT_EQ(statusOn(2, io(0x02, 1)), c.status) << "read";
        EXPECT_EQ(statusOn(2, io(0x00, 0xFFFFFFFF)), c.status) << "flush of all";
        EXPECT_EQ(statusOn(2, admin(0x80, 1)), c.status) << "format";
        EXPECT_EQ(statusOn(2, admin(0x0A, 1, 0x05)), c.status) << "a feature of the namespace";
        EXPECT_EQ(statusOn(2, admin(0x0A, 0, 0x04)), 0) << "a feature of the controller";
        EXPECT_EQ(statusOn(2, admin(0x14, 0, 1)), 0) << "a self-test of the controller";
        EXPECT_EQ(statusOn(2, admin(0x14, 0, 0xF)), 0);
        EXPECT_EQ(statusOn(2, admin(0x14, 1, 1)), c.status) << "a self-test of the namespace";
        EXPECT_EQ(statusOn(2, admin(0x14, 0, 0xF)), 0);
        EXPECT_EQ(writeOn(1, 1), 0) << "on the other controller";
        const bool isKnown = c.state != AnaState::INACCESSIBLE && c.state != AnaState::PERSISTENT_LOSS;
        EXPECT_EQ(number(identifyOn(2, 0x00, 1), 16, 8) != 0, isKnown) << "NUSE";
        EXPECT_EQ(number(identifyOn(2, 0x00, 1), 48, 8), isKnown ? 64U << 20 : 0U) << "NVMCAP";
        EXPECT_EQ(number(identifyOn(2, 0x00, 1), 0, 8), 131072U) << "NSZE";
        EXPECT_NE(number(identifyOn(1, 0x00, 1), 16, 8), 0U);
    }
}

TEST_F(DriveWithTwoControllers, ReportsChangedStatesOnTheirControllerAlone) {
    for (uint16_t id = 1; id <= 2; ++id) {
        EXPECT_EQ(statusOn(id, admin(0x09, 0, 0x0B, 0x900)), 0) << "namespace and ANA notices";
        EXPECT_EQ(on(id, admin(0x0C)).delivery, Delivery::HELD);
    }
    setAna({{2, 1, AnaState::NON_OPTIMIZED}});
    EXPECT_EQ(eventOn(1), 0U);
    EXPECT_EQ(eventOn(2), 0x000C0302U) << "notice, ANA change, log page 0Ch";
    EXPECT_EQ(on(2, admin(0x0C)).delivery, Delivery::HELD);
    setAna({});
    EXPECT_EQ(eventOn(2), 0U) << "masked until the log page is read";
    anaLog(2, 56);
    EXPECT_EQ(eventOn(2), 0x000C0302U);
    EXPECT_EQ(eventOn(1), 0U);
}

TEST_F(DriveWithTwoControllers, AttachesNamespacesToEach) {
    EXPECT_EQ(statusOn(1, admin(0x09, 0, 0x0B, 0x100)), 0);
    EXPECT_EQ(on(1, admin(0x0C)).delivery, Delivery::HELD);
    EXPECT_EQ(attach(2, 1, 1, {1, 0, 1, 0}), 0) << "controller 2 detaches it from controller 1";
    EXPECT_EQ(eventOn(1), 0x00040002U);
    EXPECT_EQ(part(identifyOn(1, 0x02), 0, 4), Bytes(4));
    EXPECT_EQ(part(identifyOn(2, 0x02), 0, 4), (Bytes{1, 0, 0, 0}));
    EXPECT_EQ(part(identifyOn(1, 0x12, 1), 0, 6), (Bytes{1, 0, 2, 0, 0, 0}));
    EXPECT_EQ(statusOn(1, io(0x02, 1)), 0x400B);
    EXPECT_EQ(anaLog(1, 16)[8], 0) << "no group is left there";
    EXPECT_EQ(attach(1, 1, 0, {2, 0, 1, 0, 2, 0}), 0x4118) << "the second has it";
    EXPECT_EQ(attach(1, 1, 1, {2, 0, 1, 0, 2, 0}), 0x411A) << "the first has not";
    EXPECT_EQ(attach(1, 1, 1, {1, 0, 2, 0}), 0);
    EXPECT_EQ(attach(1, 1, 0, {2, 0, 1, 0, 2, 0}), 0) << "both at once";
    EXPECT_EQ(part(identifyOn(1, 0x12, 1), 0, 6), (Bytes{2, 0, 1, 0, 2, 0}));
    for (const Bytes& list : {Bytes{0, 0}, Bytes{1, 0, 3, 0}, Bytes{1, 0, 0, 0}, Bytes{2, 0, 2, 0, 1, 0},
                              Bytes{2, 0, 1, 0, 1, 0}, Bytes{3, 0, 1, 0, 2, 0, 3, 0}}) {
        EXPECT_EQ(attach(1, 1, 1, list), 0x411C) << "a list that is none";
    }
}

TEST_F(DriveWithTwoControllers, AttachesAPrivateNamespaceToOne) {
    EXPECT_EQ(statusOn(1, admin(0x0D, 1, 1)), 0);
    data.assign(4096, 0);
    data[1] = data[9] = 8;  // 2,048 blocks
    EXPECT_EQ(statusOn(1, admin(0x0D)), 0);
    EXPECT_EQ(attach(1, 1, 0, {2, 0, 1, 0, 2, 0}), 0x4119);
    EXPECT_EQ(attach(1, 1, 0, {1, 0, 2, 0}), 0);
    EXPECT_EQ(attach(1, 1, 0, {1, 0, 1, 0}), 0x4119);
    EXPECT_EQ(part(identifyOn(1, 0x12, 1), 0, 6), (Bytes{1, 0, 2, 0, 0, 0}));
}

TEST_F(DriveWithTwoControllers, KeepsWhatBelongsToEach) {
    EXPECT_EQ(statusOn(1, admin(0x09, 0, 0x04, 340)), 0);
    EXPECT_EQ(on(2, admin(0x0A, 0, 0x04)).dword0, 343U) << "its own threshold";
    EXPECT_EQ(statusOn(2, admin(0x09, 0, 0x04, 330)), 0);
    EXPECT_EQ(statusOn(2, admin(0xFF)), 0x4001);
    controller.reset();
    reopen();
    second = std::make_unique<Controller>(path(), clock, 2);
    EXPECT_EQ(on(1, admin(0x0A, 0, 0x04)).dword0, 340U);
    EXPECT_EQ(on(2, admin(0x0A, 0, 0x04)).dword0, 330U);
    EXPECT_EQ(number(log(0x01, 64), 0, 8), 0U) << "the refusal is in the error log of the other";
    EXPECT_EQ(statusOn(2, admin(0x02, 0xFFFFFFFF, 0x000F0001)), 0);
    EXPECT_EQ(number(data, 0, 8), 1U);
    EXPECT_TRUE(succeeded(second->reset(ResetKind::CONTROLLER)));
    EXPECT_EQ(on(2, admin(0x0A, 0, 0x04)).dword0, 343U);
    EXPECT_EQ(on(1, admin(0x0A, 0, 0x04)).dword0, 340U) << "was not reset";
    EXPECT_TRUE(succeeded(second->reset(ResetKind::SUBSYSTEM)));
    EXPECT_EQ(on(1, admin(0x0A, 0, 0x04)).dword0, 343U) << "was";
}

TEST_F(DriveWithTwoControllers, ReportsAFormatToTheOtherHost) {
    for (uint16_t id = 1; id <= 2; ++id) {
        EXPECT_EQ(statusOn(id, admin(0x09, 0, 0x0B, 0x100)), 0);
        EXPECT_EQ(on(id, admin(0x0C)).delivery, Delivery::HELD);
    }
    EXPECT_EQ(statusOn(1, admin(0x80, 1, 2)), 0);
    EXPECT_EQ(eventOn(1), 0U);
    EXPECT_EQ(eventOn(2), 0x00040002U);
    EXPECT_EQ(statusOn(2, admin(0x02, 0xFFFFFFFF, 0x03FF0004)), 0);
    EXPECT_EQ(part(data, 0, 8), (Bytes{1, 0, 0, 0, 0, 0, 0, 0}));
}

using DriveWithOneController = SimulatedDrive;

TEST_F(DriveWithOneController, HasNoAna) {
    const Bytes structure = identify(0x01);
    EXPECT_EQ(structure[76], 1) << "two ports, with a bridge between them";
    EXPECT_EQ(number(structure, 78, 2), 1U);
    EXPECT_EQ(number(structure, 92, 4), 0x700U);
    EXPECT_EQ(part(structure, 342, 10), Bytes(10));
    EXPECT_EQ(number(identify(0x00, 1), 92, 4), 0U);
    EXPECT_EQ(identify(0x00, 1)[30], 0);
    EXPECT_EQ(status(admin(0x02, 0xFFFFFFFF, 0x0C)), 0x4109);
    EXPECT_EQ(status(admin(0x09, 0, 0x0B, 0x800)), 0x4002);
    Controller second(path(), clock, 2);
    const auto result = statusOf(second.execute(admin(0x06, 0, 1), data));
    EXPECT_EQ(result.getMessage(), path() + ": The drive has one controller.");
    EXPECT_TRUE(result.is(1, 19));
}

}  // namespace
