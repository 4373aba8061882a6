#pragma once

#include <string>

#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/unit/features/jobs/JobRun.h"

namespace features::jobs {

/// Sets a property to an unchecked text, and returns the whole answer: "10/36 message", or for a success
/// "0/0" and what the user would read after the tool's own words.
inline std::string setText(ostrel::interfaces::ostreli::Job& job, const std::string& name, const std::string& text,
                           const fakedrive::FakeDrive& drive) {
    using namespace ostrel::core;
    JobRun run(job, ostrel::interfaces::ostreli::JOBTYPE_SET_PROPERTY);
    std::string answer = run.setting(Attribute(name, name, typeString()), text).on({&drive});
    const Status status = job.getStatus();
    if (succeeded(status) && !status.getMessage().empty()) answer += " " + status.getMessage();
    return answer;
}

}  // namespace features::jobs
