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

/// A drive that the user named by a namespace of it, as "/dev/nvme0n2".
template <class Drive>
void nameNamespace(Drive& drive, uint32_t nsid) {
    ostrel::core::Attribute attribute = ostrel::core::attributes::device::namespaceId();
    attribute.setValue(nsid);
    drive.device()->setAttribute(attribute);
}

/// A drive with the maker's vendor interface.
inline fakedrive::FakeDrive& velko(fakedrive::FakeDrive& drive) {
    return nameModel(drive, "VELKO X1");
}

}  // namespace features::jobs
