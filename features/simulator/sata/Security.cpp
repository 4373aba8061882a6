#include "features/simulator/sata/Security.h"

#include <algorithm>

#include "features/nvme/Bytes.h"
#include "features/simulator/sata/Handlers.h"

namespace features::simulator::sata {

using nvme::bit;
using nvme::le16;

namespace {

constexpr size_t OFFSET_PASSWORD = 2;
constexpr size_t OFFSET_MASTER_ID = 34;

bool namesMaster(const SataContext& context) {
    return bit(le16(context.data.data()), 0);
}

Password passwordOf(const SataContext& context) {
    Password password;
    std::copy_n(context.data.begin() + OFFSET_PASSWORD, password.size(), password.begin());
    return password;
}

/// Whether the command has the password that it names. A password that locks the drive as a fault is unknown.
bool isRightPassword(const SataContext& context) {
    const SecurityState& security = context.state.security;
    if (context.description.faults.isLocked) return false;
    return passwordOf(context) == (namesMaster(context) ? security.master : security.user);
}

bool isWholeSector(const SataContext& context) {
    return context.data.size() == SECTOR_BYTES;
}

uint64_t eraseMs(const SataContext& context) {
    return uint64_t{context.description.sanitizeSeconds} * 1000;
}

void dropPassword(SecurityState& security) {
    security.isEnabled = security.isMaximum = security.isLocked = false;
    security.user = Password();
    security.eraseStartedMs.reset();
}

}  // namespace

ata::Registers setPassword(SataContext& context) {
    if (!isWholeSector(context) || context.isSecurityFrozen() || context.isSecurityLocked()) return aborted();
    SecurityState& security = context.state.security;
    if (namesMaster(context)) {
        const uint16_t id = le16(context.data.data() + OFFSET_MASTER_ID);
        security.master = passwordOf(context);
        if (id != 0 && id != 0xFFFF) security.masterId = id;
        return completed();
    }
    security.user = passwordOf(context);
    security.isMaximum = bit(le16(context.data.data()), 8);
    security.isEnabled = true;
    return completed();
}

ata::Registers unlock(SataContext& context) {
    SecurityState& security = context.state.security;
    const bool isPossible = isWholeSector(context) && context.isSecurityEnabled() && !context.isSecurityFrozen() &&
                            security.attemptsLeft != 0;
    if (!isPossible) return aborted();
    const bool isAllowed = !(namesMaster(context) && security.isMaximum);
    if (isAllowed && isRightPassword(context)) {
        security.isLocked = false;
        return completed();
    }
    if (context.isSecurityLocked()) --security.attemptsLeft;
    return aborted();
}

ata::Registers prepareErase(SataContext& context) {
    if (context.isSecurityFrozen()) return aborted();
    context.state.security.isErasePrepared = true;
    return completed();
}

ata::Registers eraseUnit(SataContext& context) {
    SecurityState& security = context.state.security;
    const bool isPossible = isWholeSector(context) && security.isErasePrepared && !context.isSecurityFrozen() &&
                            context.isSecurityEnabled() && security.attemptsLeft != 0;
    if (!isPossible || !isRightPassword(context)) return aborted();
    security.eraseStartedMs = context.nowMs;
    context.busyMs = static_cast<uint32_t>(eraseMs(context));
    if (context.busyMs == 0) finishErase(context);
    return completed();
}

ata::Registers freezeSecurity(SataContext& context) {
    if (context.isSecurityLocked()) return aborted();
    context.state.security.isFrozen = true;
    return completed();
}

ata::Registers disablePassword(SataContext& context) {
    SecurityState& security = context.state.security;
    const bool isPossible = isWholeSector(context) && context.isSecurityEnabled() && !context.isSecurityFrozen() &&
                            !context.isSecurityLocked();
    const bool isAllowed = isPossible && !(namesMaster(context) && security.isMaximum);
    if (!isAllowed || !isRightPassword(context)) return aborted();
    dropPassword(security);
    return completed();
}

uint64_t eraseEndMs(const SataContext& context) {
    const auto& started = context.state.security.eraseStartedMs;
    return started ? *started + eraseMs(context) : 0;
}

void finishErase(SataContext& context) {
    SecurityState& security = context.state.security;
    if (!security.eraseStartedMs || context.nowMs < eraseEndMs(context)) return;
    dropPassword(security);
    renewMedia(context);
}

void restartSecurity(SecurityState& security) {
    security.isLocked = security.isEnabled;
    security.isFrozen = security.isErasePrepared = false;
    security.attemptsLeft = MAX_PASSWORD_ATTEMPTS;
    security.eraseStartedMs.reset();
}

}  // namespace features::simulator::sata
