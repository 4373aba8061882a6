#pragma once

#include <cstdint>
#include <optional>

#include "features/errors/Result.h"
#include "features/jobs/base/Arguments.h"
#include "features/jobs/base/DriveOutput.h"
#include "features/jobs/drive/VendorDialect.h"
#include "features/nvme/Drive.h"
#include "features/nvme/Features.h"
#include "ostrel/core/Payload.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// A feature that is read or written by its identifier, as a request names it.
///
/// A feature that each namespace has for itself goes to the namespace given, to the one that the user's path named, or
/// to the only one that is attached; with several, 10/76.
class AnyFeature {
public:
    /// Reads the arguments "FeatureId", "NamespaceId", "Select", "Save", "DWORD11" to "DWORD13" (hexadecimal) and
    /// "InputFile", and that file.
    static Result<AnyFeature> read(const Arguments& arguments);

    /// Whether the arguments say what is to be written. A set without any of it would write zeros.
    static bool isAnythingGiven(const Arguments& arguments);

    /// Adds the feature's dword 0, what it means, and the data as far as it is not zero.
    ostrel::core::Status show(nvme::Drive& drive, DriveOutput& out) const;
    /// Writes the feature. Data that does not have the length of the feature's structure is refused before anything is
    /// sent, and so is what the controller cannot save. A feature of the standard whose value dword 11 is, is read
    /// back: 10/164 with both values when the drive reports another one. A success says how long the value holds, where
    /// that is known. The maker's features that destroy data go
    /// through the safety gate. `heading`: of the status of a success.
    ostrel::core::Status write(nvme::Drive& drive, const std::string& heading, DriveOutput& out) const;

private:
    static Result<ostrel::core::Payload> readInputData(const Arguments& arguments);
    /// The namespace that was given, or that the feature is for.
    Result<uint32_t> namespaceOf(nvme::Drive& drive) const;
    /// The command's fields; `row`: null for a feature that is not known.
    Result<nvme::FeatureRequest> requestFor(nvme::Drive& drive, const FeatureAddress& address,
                                            const nvme::FeatureRow* row) const;

    uint8_t fid_ = 0;
    std::optional<uint32_t> nsid_;
    nvme::Select select_ = nvme::Select::CURRENT;
    bool save_ = false;
    uint32_t cdw11_ = 0;
    uint32_t cdw12_ = 0;
    uint32_t cdw13_ = 0;
    ostrel::core::Payload data_;  ///< to be written; empty: none
};

}  // namespace features::jobs
