#pragma once

#include <string>

#include "features/errors/Result.h"
#include "features/jobs/support/StateFolder.h"
#include "ostrel/core/Device.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// On which drives this host has set SecurityErase's password and not seen it gone: a small file for each drive, by
/// model and serial number. With it a drive whose erase was cut by a power failure is known when it is seen again.
///
/// Errors: 10/54 and 10/168 with path and reason, 10/194 for the folder; a drive without a serial number is 10/33.
class ErasePasswords {
public:
    explicit ErasePasswords(std::string folder = std::string(STATE_FOLDER)) : folder_(std::move(folder)) {}

    Result<bool> has(const ostrel::core::Device& drive) const;
    /// Makes the folder where it is missing. The record is on the disk when this returns a success.
    ostrel::core::Status add(const ostrel::core::Device& drive) const;
    /// A success also where there is no record.
    ostrel::core::Status remove(const ostrel::core::Device& drive) const;

    /// "VELKO SATA 1,S1.erasepassword", with other bytes than letters, digits and '-' as "%20".
    static std::string fileName(const ostrel::core::Device& drive);

private:
    Result<std::string> pathOf(const ostrel::core::Device& drive) const;

    std::string folder_;
};

}  // namespace features::jobs
