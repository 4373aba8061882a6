#pragma once

#include <string>

#include "ostrel/core/AttributeVocabulary.h"
#include "tests/support/fakedrive/FakeDrive.h"

namespace features::jobs {

inline fakedrive::FakeDrive& nameModel(fakedrive::FakeDrive& drive, const std::string& model) {
    ostrel::core::Attribute attribute = ostrel::core::attributes::device::modelNumber();
    attribute.setValue(model);
    drive.device()->setAttribute(attribute);
    return drive;
}

/// A drive with the maker's vendor interface.
inline fakedrive::FakeDrive& velko(fakedrive::FakeDrive& drive) {
    return nameModel(drive, "VELKO X1");
}

/// One drive's status in an output, under the heading of the job.
inline std::string statusOf(const std::string& heading, const std::string& category, const std::string& code,
                            const std::string& message) {
    return "0/0\n<Object category=\"Output\">\n<Object category=\"status\" key=\"S1\" name=\"" + heading +
           "\">\n<Property name=\"Category\" value=\"" + category + "\"/>\n<Property name=\"Code\" value=\"" + code +
           "\"/>\n<Property name=\"Message\" value=\"" + message + "\"/>\n</Object>\n</Object>";
}

}  // namespace features::jobs
