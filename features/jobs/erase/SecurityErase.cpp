#include "features/jobs/erase/SecurityErase.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "features/ata/AtaCommand.h"
#include "features/errors/PayloadCopy.h"
#include "features/jobs/drive/DriveLocking.h"
#include "features/jobs/support/ProgressLine.h"
#include "features/jobs/support/StatusDetails.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/SignalBlock.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

/// The parameter block of the security commands: word 0, then the password.
constexpr size_t BLOCK_BYTES = 512;
constexpr size_t PASSWORD_OFFSET = 2;
constexpr size_t PASSWORD_BYTES = 32;
static_assert(PASSWORD_OFFSET + PASSWORD_BYTES <= BLOCK_BYTES);

/// Word 0: the user password (bit 0) and the level "high" (bit 8) are 0.
constexpr uint8_t USER_PASSWORD = 0;
constexpr uint8_t ENHANCED = 1U << 1;

constexpr uint32_t MINUTE_MS = 60 * 1000;
constexpr uint32_t LIMIT_WITHOUT_ESTIMATE_MINUTES = 12 * 60;

/// Twice what the drive says, as far as a command's time-out goes: 49 days.
uint32_t limitMs(const std::optional<ata::EraseTime>& estimate) {
    uint32_t minutes = estimate ? estimate->minutes * 2 : LIMIT_WITHOUT_ESTIMATE_MINUTES;
    if (estimate && estimate->isMore) minutes = std::max(minutes, LIMIT_WITHOUT_ESTIMATE_MINUTES);
    return std::min(minutes, UINT32_MAX / MINUTE_MS) * MINUTE_MS;
}

Status failureOf(const Status& meaning, const ata::AtaError& error) {
    return withDetails(meaning, error.status.getMessage());
}

}  // namespace

Status SecurityErase::check() {
    TRY(const ata::Identity* const identity, drive_.identifyAgain());
    if (!identity->has(ata::identify::SECURITY_SUPPORTED)) return statuses::secureEraseNeedsAtaSecurity();
    if (identity->has(ata::identify::SECURITY_FROZEN)) return statuses::securityFrozen();
    hasPassword_ = identity->has(ata::identify::SECURITY_ENABLED);
    if (hasPassword_) {
        TRY(const bool isOurs, passwords_.has(drive_.device()));
        if (!isOurs) {
            return withDetails(
                statuses::configurationBlockedBySecurity(),
                "Drive " + drive_.name() + " has a password that this host did not set: remove it first.");
        }
    }
    if (identity->has(ata::identify::SECURITY_COUNT_EXPIRED)) {
        return withDetails(statuses::configurationBlockedBySecurity(),
                           "Drive " + drive_.name() + " takes no more passwords before its power is cycled.");
    }
    isEnhanced_ = identity->has(ata::identify::ENHANCED_ERASE);
    timeoutMs_ = limitMs(isEnhanced_ ? identity->enhancedEraseTime() : identity->eraseTime());
    return Status();
}

Result<std::string> SecurityErase::run() {
    RETURN_IF_FAILED(
        erasure_.begins(isEnhanced_ ? EraseMethod::ATA_ENHANCED_SECURITY_ERASE : EraseMethod::ATA_SECURITY_ERASE));
    if (!hasPassword_) RETURN_IF_FAILED(prepare());
    RETURN_IF_FAILED(checkGate_());
    if (!hasPassword_) RETURN_IF_FAILED(passwords_.add(drive_.device()));
    notice_.show("Drive " + drive_.name() + " is erased with the user password \"" + ERASE_PASSWORD +
                 "\", which it keeps if its power fails before the end. Do not switch it off.");
    // A process that ended here would leave a drive that is locked after the next power cycle.
    const SignalBlock untilThePasswordIsGone;
    if (!hasPassword_) RETURN_IF_FAILED(setPassword());
    const Status erased = eraseUnit();
    if (failed(erased)) return withdraw(erased);
    const Status removed = removePassword();
    if (failed(removed)) return withDetails(removed, "The drive was erased. " + unlocking());
    return std::string("The drive was erased by ") + (isEnhanced_ ? "an enhanced" : "a normal") +
           " SECURITY ERASE UNIT and has no password.";
}

/// What is in the drive's cache goes first, as does its own work in the background.
Status SecurityErase::prepare() {
    TRY(const ata::Identity* const identity, drive_.identify());
    const bool isLong = identity->has(ata::identify::ADDRESS_48_BIT);
    RETURN_IF_FAILED(drive_.send(ata::AtaCommand(isLong ? ata::commands::flushCacheExt : ata::commands::flushCache)));
    const auto standby = drive_.send(ata::AtaCommand(ata::commands::standbyImmediate));
    return standby ? Status() : failureOf(statuses::standbyImmediateFailed(), standby.error());
}

Status SecurityErase::setPassword() {
    const auto set = sendPassword(ata::commands::securitySetPassword, USER_PASSWORD, 0);
    const auto identity = drive_.identifyAgain();
    if (set && identity && (*identity)->has(ata::identify::SECURITY_ENABLED)) return Status();
    const Status failure = !set        ? failureOf(statuses::securitySetPasswordFailed(), set.error())
                           : !identity ? failureOf(statuses::securitySetPasswordFailed(), identity.error())
                                       : withDetails(statuses::securitySetPasswordFailed(),
                                                     "Drive " + drive_.name() + " reports no password.");
    return withdraw(failure);
}

Status SecurityErase::eraseUnit() {
    const ProgressLine line("Drive " + drive_.name() + ", security erase", timeoutMs_ / 2);
    // No command may come between these two.
    const auto prepared = drive_.send(ata::AtaCommand(ata::commands::securityErasePrepare));
    if (!prepared) return failureOf(statuses::secureErasePrepareFailed(), prepared.error());
    const auto erased =
        sendPassword(ata::commands::securityEraseUnit, isEnhanced_ ? ENHANCED : USER_PASSWORD, timeoutMs_);
    // Also after an error of the drive: it may have erased a part before it.
    if (erased || !erased.error().isOfTranslator()) erasure_.started();
    if (erased) return Status();
    return withLocking(drive_, erased.error(), failureOf(statuses::secureEraseUnitFailed(), erased.error()));
}

Status SecurityErase::removePassword() {
    TRY(const ata::Identity* identity, drive_.identifyAgain());
    if (identity->has(ata::identify::SECURITY_ENABLED)) {
        if (identity->has(ata::identify::SECURITY_LOCKED))
            RETURN_IF_FAILED(sendPassword(ata::commands::securityUnlock, USER_PASSWORD, 0));
        RETURN_IF_FAILED(sendPassword(ata::commands::securityDisablePassword, USER_PASSWORD, 0));
        TRY(identity, drive_.identifyAgain());
        if (identity->has(ata::identify::SECURITY_ENABLED))
            return withDetails(statuses::configurationBlockedBySecurity(), "The password is still set.");
    }
    return passwords_.remove(drive_.device());
}

Status SecurityErase::withdraw(const Status& failure) {
    const Status removed = removePassword();
    if (succeeded(removed)) return withDetails(failure, "Drive " + drive_.name() + " has no password.");
    return withDetails(failure, removed.getMessage() + " " + unlocking());
}

Result<ata::Answer, ata::AtaError> SecurityErase::sendPassword(const ata::CommandRow& row, uint8_t flags,
                                                               uint32_t timeoutMs) {
    uint8_t block[BLOCK_BYTES] = {flags};
    std::copy_n(ERASE_PASSWORD, std::strlen(ERASE_PASSWORD), block + PASSWORD_OFFSET);
    ata::AtaCommand command(row);
    command.count = 1;
    command.dataLength = BLOCK_BYTES;
    if (timeoutMs != 0) command.timeoutMs = timeoutMs;
    return drive_.send(command, copyOf(block, sizeof block));
}

std::string SecurityErase::unlocking() const {
    const std::string path = drive_.device().getAttribute(attributes::device::devicePath()).getText();
    return "Drive " + drive_.name() + " may still have the user password \"" + ERASE_PASSWORD +
           "\": run this command again, or 'hdparm --security-unlock " + ERASE_PASSWORD + " " + path +
           "' and 'hdparm --security-disable " + ERASE_PASSWORD + " " + path + "'.";
}

}  // namespace features::jobs
