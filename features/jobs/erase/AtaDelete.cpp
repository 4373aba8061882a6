#include "features/jobs/erase/AtaDelete.h"

#include "features/jobs/drive/HostSide.h"
#include "features/jobs/drive/SafetyGate.h"
#include "features/jobs/erase/AtaSanitize.h"
#include "features/jobs/erase/SecurityErase.h"
#include "features/jobs/support/StatusDetails.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

Result<std::string> eraseBySecurity(ata::Drive& drive, const SecurityErase::CheckGate& checkGate,
                                    const AtaEraseTools& tools) {
    SecurityErase erase(drive, checkGate, tools.passwords, tools.notice, tools.erasure);
    RETURN_IF_FAILED(erase.check());
    TRY(const std::string report, erase.run());
    // The host still knows the partitions that are gone.
    const Status rescanned = rescan(drive.device());
    if (failed(rescanned)) return withDetails(rescanned, report);
    return report;
}

}  // namespace

Result<std::string> deleteUserData(ata::Drive& drive, bool partitionsCount, const AtaEraseTools& tools) {
    const auto checkGate = [&] {
        DestructionScope scope;
        scope.partitionsCount = partitionsCount;
        return checkDestruction(drive.device(), scope);
    };
    RETURN_IF_FAILED(checkGate());
    TRY(const ata::Identity* const identity, drive.identifyAgain());
    TRY(const bool wasInterrupted, tools.passwords.has(drive.device()));
    const bool isBlock = identity->has(ata::identify::SANITIZE_BLOCK);
    const bool isCrypto = identity->has(ata::identify::SANITIZE_CRYPTO);
    const bool mustUnlock = wasInterrupted && identity->has(ata::identify::SECURITY_ENABLED);
    if (mustUnlock || !identity->has(ata::identify::SANITIZE) || (!isBlock && !isCrypto))
        return eraseBySecurity(drive, checkGate, tools);
    SanitizeRequest request;
    request.action = isBlock ? SanitizeAction::BLOCK_ERASE : SanitizeAction::CRYPTO_ERASE;
    request.partitionsCount = partitionsCount;
    TRY(const std::string report, AtaSanitize(drive, tools.clock, tools.erasure).run(request));
    // The drive has no password any more: one that it gets later is not ours.
    const Status removed = wasInterrupted ? tools.passwords.remove(drive.device()) : Status();
    if (failed(removed)) return withDetails(removed, report);
    return report + (isBlock ? " Method: block erase." : " Method: crypto scramble.");
}

}  // namespace features::jobs
