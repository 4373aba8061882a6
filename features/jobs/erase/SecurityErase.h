#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "features/ata/Drive.h"
#include "features/errors/Result.h"
#include "features/jobs/erase/ErasePasswords.h"
#include "features/jobs/erase/Erasure.h"
#include "features/jobs/support/Notice.h"
#include "ostrel/core/Payload.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// Erases a SATA drive by SECURITY ERASE UNIT, enhanced where the drive has it (ACS-4, Security feature set).
///
/// The drive erases itself only with a password set, and keeps that password when its power fails before the end: it is
/// locked then. So the password is ERASE_PASSWORD, which docs/sata.md has, the user is shown it before it is sent, and
/// a record of it is kept (ErasePasswords) until the drive has none. A drive that such a record says was left with the
/// password is erased with it, locked or not. Another drive with a password is refused: passwords are not tried.
///
///   - The security level is "high", so that the maker's master password helps, too.
///   - Signals that end the process wait from the password to the end of the erase.
///   - At the end the drive must have no password; one that has is disabled, and what fails then is reported with the
///     password and the commands that unlock the drive.
///
/// Errors: 10/14 without the feature set, 10/7 for a frozen drive, 10/163 for one with another password, 10/16, 10/10,
///         10/8 and 10/9 by the step that failed; what became of the password is in the words.
class SecurityErase {
public:
    /// User password, 32 bytes, padded with zeros.
    static constexpr const char* ERASE_PASSWORD = "nimbrel-erase";

    using CheckGate = std::function<ostrel::core::Status()>;

    /// `checkGate` looks at the drive's uses: called immediately before the password is set, and before the erase of a
    /// drive that has it.
    SecurityErase(ata::Drive& drive, CheckGate checkGate, const ErasePasswords& passwords, const Notice& notice,
                  Erasure& erasure)
        : drive_(drive), checkGate_(std::move(checkGate)), passwords_(passwords), notice_(notice), erasure_(erasure) {}

    /// Whether the drive may be erased this way now.
    ostrel::core::Status check();
    /// What was done, in a sentence. After a check() that was a success.
    Result<std::string> run();

private:
    ostrel::core::Status prepare();
    ostrel::core::Status setPassword();
    ostrel::core::Status eraseUnit();
    /// Takes the password away where the drive still has it.
    ostrel::core::Status removePassword();
    /// The same after a failure: its status, and how the drive is left.
    ostrel::core::Status withdraw(const ostrel::core::Status& failure);
    Result<ata::Answer, ata::AtaError> sendPassword(const ata::CommandRow& row, uint8_t flags, uint32_t timeoutMs);
    /// The drive and how it can be unlocked, for the words of a failure.
    std::string unlocking() const;

    ata::Drive& drive_;
    CheckGate checkGate_;
    const ErasePasswords& passwords_;
    const Notice& notice_;
    Erasure& erasure_;
    bool isEnhanced_ = false;
    bool hasPassword_ = false;  ///< left by an erase that was interrupted
    uint32_t timeoutMs_ = 0;
};

}  // namespace features::jobs
