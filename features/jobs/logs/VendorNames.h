#pragma once

#include "features/jobs/drive/DriveFacts.h"
#include "features/nvme/FieldTree.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

// The identifiers from C0h on mean what their owner says, which no log of the standard names: OCP on a drive with its
// log C0h, the maker on a VELKO drive.

/// Names the vendor specific pages in a decoded log 00h. An error is one of the transport.
ostrel::core::Status nameVendorPages(DriveFacts& facts, nvme::FieldTree& tree);
/// Names the vendor specific features in a decoded log 12h: C0h to CAh are OCP's as far as the version that the drive
/// reports defines them.
ostrel::core::Status nameVendorFeatures(DriveFacts& facts, nvme::FieldTree& tree);

}  // namespace features::jobs
