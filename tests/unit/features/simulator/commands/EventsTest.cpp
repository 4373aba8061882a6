#include "tests/unit/features/simulator/SimulatedDrive.h"

using features::simulator::Delivery;
using features::simulator::ResetKind;

namespace {

class EventsOfASimulatedDrive : public SimulatedDrive {
protected:
    Delivery request() { return run(admin(0x0C)).delivery; }
    /// Dword 0 of the event that came; 0: none.
    uint32_t taken() {
        const auto event = controller->takeEvent();
        EXPECT_TRUE(event) << event.error().getMessage();
        return event && *event ? (*event)->dword0 : 0;
    }
    void configure(uint32_t dword11) { EXPECT_EQ(status(admin(0x09, 0, 0x0B, dword11)), 0); }
    /// Another process detaches or attaches namespace 1.
    void changeNamespace(bool attach) {
        Bytes list(4096);
        list[0] = list[2] = 1;
        features::simulator::Controller other(path(), clock);
        const auto completion = other.execute(admin(0x15, 1, attach ? 0 : 1), list);
        ASSERT_TRUE(completion) << completion.error().getMessage();
        EXPECT_EQ(completion->statusField, 0);
    }
};

TEST_F(EventsOfASimulatedDrive, AreHeldUntilSomethingHappens) {
    configure(0x1FF);
    EXPECT_EQ(request(), Delivery::HELD);
    EXPECT_EQ(taken(), 0U);
    changeNamespace(false);
    EXPECT_EQ(taken(), 0x00040002U) << "notice, namespace attribute changed, log page 04h";
    EXPECT_EQ(taken(), 0U) << "no request is left";
    EXPECT_EQ(request(), Delivery::HELD) << "masked until the log page is read";
    changeNamespace(true);
    EXPECT_EQ(taken(), 0U);
    log(0x04, 4096);
    EXPECT_EQ(taken(), 0x00040002U);
}

TEST_F(EventsOfASimulatedDrive, CompleteARequestAtOnceWhenTheyWait) {
    configure(0x100);
    changeNamespace(false);
    const auto completion = run(admin(0x0C));
    EXPECT_EQ(completion.delivery, Delivery::COMPLETED);
    EXPECT_EQ(completion.dword0, 0x00040002U);
}

TEST_F(EventsOfASimulatedDrive, ComeOnlyWhenTheyAreConfigured) {
    EXPECT_EQ(request(), Delivery::HELD);
    changeNamespace(false);
    description.faults.criticalWarning = 0xFF;
    describe();
    EXPECT_EQ(taken(), 0U);
}

TEST_F(EventsOfASimulatedDrive, ReportCriticalWarnings) {
    configure(0xFF);
    EXPECT_EQ(request(), Delivery::HELD);
    EXPECT_EQ(request(), Delivery::HELD);
    description.faults.criticalWarning = 0x04;
    describe();
    EXPECT_EQ(taken(), 0x00020001U) << "reliability";
    description.faults.criticalWarning = 0x05;
    describe();
    EXPECT_EQ(taken(), 0U) << "its type is masked";
    EXPECT_EQ(status(admin(0x02, 0xFFFFFFFF, 0x007F8002)), 0) << "the event is retained";
    EXPECT_EQ(taken(), 0U);
    log(0x02, 512);
    EXPECT_EQ(taken(), 0x00020201U) << "spare";
}

TEST_F(EventsOfASimulatedDrive, ReportThatASanitizeOperationIsOver) {
    EXPECT_EQ(request(), Delivery::HELD);
    EXPECT_EQ(status(admin(0x84, 0, 2)), 0);
    EXPECT_EQ(taken(), 0U);
    clock.advanceMs(10000);
    EXPECT_EQ(taken(), 0x00810106U);
}

TEST_F(EventsOfASimulatedDrive, AreAskedForFourTimesAtMost) {
    for (int i = 0; i < 4; ++i) EXPECT_EQ(request(), Delivery::HELD);
    EXPECT_EQ(status(admin(0x0C)), 0x4105);
    EXPECT_TRUE(succeeded(controller->reset(ResetKind::CONTROLLER)));
    EXPECT_EQ(request(), Delivery::HELD) << "a reset forgets the requests";
    const auto aborted = run(admin(0x08, 0, 0x00010000));
    EXPECT_EQ(aborted.statusField, 0);
    EXPECT_EQ(aborted.dword0, 1U) << "not aborted";
}

}  // namespace
