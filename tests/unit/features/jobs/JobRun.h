#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ostrel/core/xml/XmlObject.h"
#include "ostrel/interfaces/ostreli/interface/Job.h"
#include "tests/support/fakedrive/FakeDrive.h"

namespace features::jobs {

/// A request as the tool builds it, and the run of a job on it.
///
///     SmartJob job;
///     EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).with("ID", "2").asking("Temperature").on({&drive}), R"(...)");
class JobRun {
public:
    JobRun(ostrel::interfaces::ostreli::Job& job, const std::string& type);

    /// A drive that the user named. Without one the request is for all drives.
    JobRun& naming(const std::string& serialNumber);
    /// An argument.
    JobRun& with(const std::string& key, const std::string& value);
    /// A property that is asked for.
    JobRun& asking(const std::string& name);
    /// The property that is to be set.
    JobRun& setting(ostrel::core::Attribute attribute, const std::string& value);

    /// Runs, and returns the whole answer: "0/0 message" of the job's status, then the XML of the output, each element
    /// on a line of its own. The order in an attribute list has no meaning: here it is that of the names. SerialNumber
    /// and DevicePath, which every object of a drive carries, are left out, but for VelkoSSD.
    std::string on(const std::vector<const fakedrive::FakeDrive*>& drives);
    std::string onDevice(const std::shared_ptr<ostrel::core::Device>& device);

private:
    std::string onAll(const std::vector<std::shared_ptr<ostrel::core::Device>>& devices);

    ostrel::interfaces::ostreli::Job& job_;
    std::shared_ptr<ostrel::core::xml::XmlObject> request_;
};

}  // namespace features::jobs
