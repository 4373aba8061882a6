#include <gtest/gtest.h>

#include <cerrno>

#include "features/jobs/base/DriveJob.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/unit/features/jobs/JobRun.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;
using namespace ostrel::interfaces::ostreli;

/// Shows one Get Features, acts with one Set Features, and takes arguments below 10 alone.
class ExampleJob : public DriveJob {
public:
    ExampleJob() : DriveJob("Example", "Example Title") {}
    std::unique_ptr<Job> clone() const override { return std::make_unique<ExampleJob>(); }

protected:
    Status checkRequest(const Arguments& arguments) override { return statusOf(arguments.number("Number", 9)); }
    Status showDrive(nvme::Drive& drive, const Arguments&, DriveOutput& out) override {
        nvme::FeatureRequest request;
        request.fid = 0x07;
        TRY(const nvme::Answer answer, drive.getFeature(request, nvme::Select::CURRENT));
        const std::string value = std::to_string(answer.completion.dword0);
        out.addAttributes(title(), {{"Queues", Attribute("Queues", "Queues", typeString(), value)}});
        return Status();
    }
    Status actOnDrive(nvme::Drive& drive, const Arguments&, DriveOutput& out) override {
        nvme::FeatureRequest request;
        request.fid = 0x07;
        RETURN_IF_FAILED(drive.setFeature(request, false));
        out.addStatus(title(), Status(0, 0, "Done."));
        return Status();
    }
    Status setOnDrive(nvme::Drive& drive, const Attribute& attribute) override {
        return Status(0, 0, drive.serialNumber() + ": " + attribute.getName() + " is " + attribute.getText());
    }
};

/// Knows nothing.
class EmptyJob : public DriveJob {
public:
    EmptyJob() : DriveJob("Empty", "Empty Title") {}
    std::unique_ptr<Job> clone() const override { return std::make_unique<EmptyJob>(); }
};

/// Says which of its operations ran.
class BothJob : public ExampleJob {
public:
    std::unique_ptr<Job> clone() const override { return std::make_unique<BothJob>(); }

protected:
    Status showAtaDrive(ata::Drive& drive, const Arguments&, DriveOutput& out) override {
        out.addStatus(title(), Status(0, 0, "Shown: " + drive.name()));
        return Status();
    }
    Status actOnAtaDrive(ata::Drive& drive, const Arguments&, DriveOutput& out) override {
        out.addStatus(title(), Status(0, 0, "Done on " + drive.name()));
        return Status();
    }
    Status setOnAtaDrive(ata::Drive& drive, const Attribute& attribute) override {
        return Status(CATEGORY_FEATURE, 1, drive.name() + ": " + attribute.getText());
    }
};

TEST(DriveJob, EachDriveGetsTheOperationOfItsCommandSet) {
    FakeDrive nvme("S1", "/dev/nvme0");
    nvme.expect(setFeature(0x07, 0).completes());
    FakeSataDrive sata("S2", "/dev/sda");
    BothJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).on({&nvme, &sata}), R"x(0/0
<Object category="Output">
<Object category="status" key="S1" name="Example Title">
<Property name="Category" value="0"/>
<Property name="Code" value="0"/>
<Property name="Message" value="Done."/>
</Object>
<Object category="status" key="S2" name="Example Title">
<Property name="Category" value="0"/>
<Property name="Code" value="0"/>
<Property name="Message" value="Done on S2 (/dev/sda)"/>
</Object>
</Object>)x");
    EXPECT_NE(JobRun(job, JOBTYPE_GET_PROPERTIES).on({&sata}).find("\"Shown: S2 (/dev/sda)\""), std::string::npos);
    EXPECT_EQ(JobRun(job, JOBTYPE_SET_PROPERTY).setting(attributes::device::index(), "7").on({&sata}),
              "10/1 S2 (/dev/sda): 7");
}

TEST(DriveJob, WhatAJobDoesNotDoOnASataDriveIsRefusedAndNothingIsSent) {
    FakeSataDrive sata("S2", "/dev/sda");
    EmptyJob job;
    const std::string refusal = "Feature is not supported. S2 (/dev/sda) is a SATA drive.";
    EXPECT_NE(JobRun(job, JOBTYPE_METHOD).on({&sata}).find(refusal), std::string::npos);
    EXPECT_NE(JobRun(job, JOBTYPE_GET_PROPERTIES).on({&sata}).find(refusal), std::string::npos);
    EXPECT_EQ(JobRun(job, JOBTYPE_SET_PROPERTY).setting(attributes::device::index(), "7").on({&sata}),
              "10/34 " + refusal);
}

TEST(DriveJob, ShowsDrivesInTheirOrderAndAFailingOneAmongThem) {
    FakeDrive first("S1", "/dev/nvme0");
    first.expect(getFeature(0x07).completes(11));
    FakeDrive gone("S2", "/dev/nvme1");
    gone.expect(getFeature(0x07).breaks(Status(CATEGORY_CORE, 70, "The drive /dev/nvme1 is gone.")));
    FakeDrive refusing("S3", "/dev/nvme2");
    refusing.expect(getFeature(0x07).refuses(0x4002));
    FakeDrive last("S4", "/dev/nvme3");
    last.expect(getFeature(0x07).completes(44));
    ExampleJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).on({&first, &gone, &refusing, &last}), R"(0/0
<Object category="Output">
<Object category="attributeList" key="Example Title S1">
<Property category="attribute" displayName="Queues" name="Queues" size="3" type="string" value="11"/>
</Object>
<Object category="status" key="S2" name="Example Title">
<Property name="Category" value="0"/>
<Property name="Code" value="70"/>
<Property name="Message" value="The drive /dev/nvme1 is gone."/>
</Object>
<Object category="status" key="S3" name="Example Title">
<Property name="Category" value="0"/>
<Property name="Code" value="25"/>
<Property name="Message" value="Get Features failed on drive S3 (/dev/nvme2): Invalid Field in Command (status code type 0x0, status code 0x02, opcode 0x0A)."/>
</Object>
<Object category="attributeList" key="Example Title S4">
<Property category="attribute" displayName="Queues" name="Queues" size="3" type="string" value="44"/>
</Object>
</Object>)");
}

TEST(DriveJob, DrivesWithOneSerialNumberAreDistinguishedByTheirNodes) {
    FakeDrive first("S1", "/dev/nvme0");
    first.expect(getFeature(0x07).completes(11));
    FakeDrive second("S2", "/dev/nvme1");
    second.expect(getFeature(0x07).completes(22));
    FakeDrive third("S1", "/dev/nvme12");
    third.expect(getFeature(0x07).breaks(Status(CATEGORY_CORE, 70, "The drive /dev/nvme12 is gone.")));
    ExampleJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).on({&first, &second, &third}), R"(0/0
<Object category="Output">
<Object category="attributeList" key="Example Title S1 nvme0">
<Property category="attribute" displayName="Queues" name="Queues" size="3" type="string" value="11"/>
</Object>
<Object category="attributeList" key="Example Title S2">
<Property category="attribute" displayName="Queues" name="Queues" size="3" type="string" value="22"/>
</Object>
<Object category="status" key="S1 nvme12" name="Example Title">
<Property name="Category" value="0"/>
<Property name="Code" value="70"/>
<Property name="Message" value="The drive /dev/nvme12 is gone."/>
</Object>
</Object>)");
}

TEST(DriveJob, ActsOnEachDriveAndReportsWhatWasDone) {
    FakeDrive first("S1", "/dev/nvme0");
    first.expect(setFeature(0x07, 0).completes());
    FakeDrive refusing("S2", "/dev/nvme1");
    refusing.expect(setFeature(0x07, 0).refuses(0x010D));
    ExampleJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).on({&first, &refusing}), R"(0/0
<Object category="Output">
<Object category="status" key="S1" name="Example Title">
<Property name="Category" value="0"/>
<Property name="Code" value="0"/>
<Property name="Message" value="Done."/>
</Object>
<Object category="status" key="S2" name="Example Title">
<Property name="Category" value="0"/>
<Property name="Code" value="25"/>
<Property name="Message" value="Set Features failed on drive S2 (/dev/nvme1): Feature Identifier Not Saveable (status code type 0x1, status code 0x0D, opcode 0x09)."/>
</Object>
</Object>)");
}

TEST(DriveJob, ABadArgumentTouchesNoDrive) {
    FakeDrive drive;
    ExampleJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("Number", "10").on({&drive}),
              "10/36 Invalid value given for Number: '10'. It must be a number from 0 to 9.");
    // The status of a get is dropped on its way, so it is in the output.
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).with("Number", "x").on({&drive}), R"(0/0
<Object category="Output">
<Object category="status" name="Example Title">
<Property name="Category" value="10"/>
<Property name="Code" value="36"/>
<Property name="Message" value="Invalid value given for Number: &apos;x&apos;. It must be a number from 0 to 9."/>
</Object>
</Object>)");
}

TEST(DriveJob, WithoutDrivesTheOutputIsEmpty) {
    ExampleJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).on({}), "0/0\n<Object category=\"Output\">\n</Object>");
}

TEST(DriveJob, SetsOnOneDriveAlone) {
    FakeDrive first("S1", "/dev/nvme0");
    FakeDrive second("S2", "/dev/nvme1");
    ExampleJob job;
    const Attribute number("Number", "Number", typeUint32());
    // The text of a successful status is not part of the answer here.
    EXPECT_EQ(JobRun(job, JOBTYPE_SET_PROPERTY).setting(number, "5").on({&first}), "0/0");
    EXPECT_EQ(job.getStatus().getMessage(), "S1: Number is 5");
    EXPECT_EQ(JobRun(job, JOBTYPE_SET_PROPERTY).setting(number, "5").on({&first, &second}),
              "10/6 Multiple devices selected.");
    EXPECT_EQ(JobRun(job, JOBTYPE_SET_PROPERTY).setting(number, "5").on({}), "10/5 No device selected.");
}

TEST(DriveJob, WhatAJobDoesNotKnowIsNotSupported) {
    FakeDrive drive;
    EmptyJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_SET_PROPERTY).setting(Attribute("A", "A", typeString()), "5").on({&drive}),
              "10/34 Feature is not supported.");
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).on({&drive}), R"(0/0
<Object category="Output">
<Object category="status" key="S1" name="Empty Title">
<Property name="Category" value="10"/>
<Property name="Code" value="34"/>
<Property name="Message" value="Feature is not supported."/>
</Object>
</Object>)");
    EXPECT_EQ(job.getSupportedProperties().size(), 0U);
}

}  // namespace
}  // namespace features::jobs
