#include <gtest/gtest.h>

#include "features/jobs/settings/TimestampJob.h"
#include "tests/unit/features/jobs/SataCommands.h"
#include "tests/unit/features/jobs/SetRun.h"
#include "tests/unit/features/jobs/StatusAnswer.h"
#include "tests/unit/features/jobs/Unplugged.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::interfaces::ostreli;

FakeSataDrive& reporting(FakeSataDrive& drive, uint64_t statistic) {
    drive.expect(identifyAta().answers(identifyDevice()))
        .expect(logExt(0x00).answers(logDirectory({0x04})))
        .expect(logExt(0x04).answers(pageList({0x00, 0x01})))
        .expect(logExt(0x04, 0x01).answers(statisticsPage(1).le64(0x38, statistic)));
    return drive;
}
Expected setClock(uint64_t milliseconds) {
    return Expected::ata(0x77, ata::Protocol::NON_DATA, ata::Addressing::BITS_48).lba(milliseconds);
}
std::string set(const std::string& text, FakeSataDrive& drive) {
    TimestampJob job;
    return setText(job, "Timestamp", text, drive);
}

TEST(TimestampJobAta, ShowsTheClock) {
    FakeSataDrive drive;
    TimestampJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).on({&reporting(drive, STATISTIC | 1795200240123)}),
              output("<Object key=\"S1\" name=\"Timestamp\">\n<Property description=\"Timestamp\" name=\"Timestamp\" "
                     "value=\"1795200240123 milliseconds\"/>\n<Property name=\"Date\" value=\"2026-11-20 18:44:00.123 "
                     "UTC\"/>\n</Object>\n"));
    FakeSataDrive without;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).on({&reporting(without, 0x8000000000000000)}),
              statusAnswer("Timestamp", "10", "245", "Timestamp not supported by drive. Drive S1 (/dev/sda)."));
}

TEST(TimestampJobAta, SetsTheClockAndReadsItBack) {
    FakeSataDrive drive;
    drive.expect(setClock(0xFFFFFFFFFFFF));
    EXPECT_EQ(set("281474976710655", reporting(drive, STATISTIC | 5)),
              "0/0 The drive keeps it until it is set again or the power goes.")
        << "the clock has passed its end";
    FakeSataDrive other;
    other.expect(setClock(1000000));
    EXPECT_EQ(set("1000000", reporting(other, STATISTIC | 999999)),
              "10/164 Configuration update failed. Drive S1 (/dev/sda) accepted Timestamp 1000000 and reports "
              "999999.");
    FakeSataDrive silent;
    silent.expect(setClock(1000000));
    EXPECT_EQ(set("1000000", reporting(silent, 0)), "0/0 The drive does not report its clock, which was not checked.");
}

TEST(TimestampJobAta, RefusesWhatTheDriveDoesNotTake) {
    FakeSataDrive drive;
    drive.expect(setClock(1000).aborts());
    EXPECT_EQ(set("1000", drive),
              "10/245 Timestamp not supported by drive. SET DATE & TIME EXT failed on drive S1 (/dev/sda): command "
              "aborted (command 0x77, FEATURE 0x00, ERROR 0x04, STATUS 0x51).");
    FakeSataDrive tooLarge;
    EXPECT_EQ(set("281474976710656", tooLarge).substr(0, 6), "10/36 ");
}

TEST(TimestampJobAta, TheClockOfAnUnpluggedDriveIsNotKnown) {
    const Script ofClock{identifyAta().answers(identifyDevice()), logExt(0x00).answers(logDirectory({0x04})),
                         logExt(0x04).answers(pageList({0x00, 0x01})), logExt(0x04, 0x01)};
    expectUnplugged<FakeSataDrive>(ofClock, statusAnswer("Timestamp", "0/70 The drive /dev/nvme0 is gone."),
                                   [](const FakeSataDrive& drive) {
                                       TimestampJob job;
                                       return JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive});
                                   });
    Script ofSet = ofClock;
    ofSet.insert(ofSet.begin(), setClock(1000));
    expectUnplugged<FakeSataDrive>(ofSet, "0/70 The drive /dev/nvme0 is gone.",
                                   [](FakeSataDrive& drive) { return set("1000", drive); });
}

TEST(TimestampJobAta, ADriveWithoutStatisticsHasNoClock) {
    FakeSataDrive drive;
    drive.expect(identifyAta().answers(identifyDevice())).expect(logExt(0x00).answers(logDirectory({})));
    TimestampJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive}),
              statusAnswer("Timestamp", "10", "245", "Timestamp not supported by drive. Drive S1 (/dev/sda)."));
}

TEST(TimestampJobAta, AValueIsNeeded) {
    FakeSataDrive drive;
    EXPECT_EQ(set("", drive), "10/39 No value associated with specified property.");
}

}  // namespace
}  // namespace features::jobs
