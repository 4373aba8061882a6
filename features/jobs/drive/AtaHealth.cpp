#include "features/jobs/drive/AtaHealth.h"

#include <optional>
#include <vector>

#include "features/ata/SmartAttributes.h"
#include "features/jobs/support/StatusDetails.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;
using ata::AtaError;
using Health = ata::Drive::Health;

namespace {

constexpr const char* HEALTHY = "Healthy";

void addSentence(std::string& text, const std::string& sentence) {
    text.append(text.empty() ? "" : " ").append(sentence);
}

/// The names of the attributes that are at or below their threshold now: "5 (Reallocated Sector Count)". Empty: the
/// drive gives no thresholds.
Result<std::optional<std::string>, AtaError> readFailingAttributes(ata::Drive& drive) {
    TRY(const Payload data, drive.smartData());
    TRY(const Payload thresholds, drive.smartThresholds());
    if (thresholds.getSize() == 0) return std::nullopt;
    std::string names;
    for (const ata::SmartAttribute& attribute : ata::smartAttributesOf(data, thresholds)) {
        if (attribute.state() != ata::AttributeState::FAILING_NOW) continue;
        names.append(names.empty() ? "" : ", ");
        names.append(std::to_string(attribute.data.id)).append(" (").append(attribute.name()).append(")");
    }
    return std::optional<std::string>(names);
}

/// The drive carried the command out, and what it returned was lost on the way.
bool isRegisterMissing(const AtaError& error) {
    return error.result && error.result->succeeded;
}

/// Of a drive whose status did not come, or says nothing.
Result<void, AtaError> judgeByAttributes(ata::Drive& drive, const std::string& why, AtaHealth& health) {
    TRY(const std::optional<std::string> failing, readFailingAttributes(drive));
    if (!failing) {
        return withDetails(statuses::deviceDataRetrievalFailed(),
                           why + " Drive " + drive.name() + " gives no thresholds of its attributes to judge it by.");
    }
    addSentence(health.text, why);
    if (failing->empty()) {
        health.health = Health::GOOD;
        health.text.insert(0, std::string(HEALTHY) + " by its attributes. ");
    } else {
        health.health = Health::THRESHOLD_EXCEEDED;
        addSentence(health.text, "Attributes at or below their threshold: " + *failing + ".");
    }
    return {};
}

/// The drive has given its verdict, whether or not it can still say why.
void describeExceeded(ata::Drive& drive, AtaHealth& health) {
    const auto failing = readFailingAttributes(drive);
    addSentence(health.text, "The drive reports that it is failing (SMART threshold exceeded).");
    if (!failing)
        addSentence(health.text, failing.error().status.getMessage());
    else if (!failing->value_or("").empty())
        addSentence(health.text, "Attributes at or below their threshold: " + **failing + ".");
}

}  // namespace

bool isRefusal(const AtaError& error) {
    return error.isOfDrive() || error.status.getCategory() == CATEGORY_FEATURE;
}

Result<AtaHealth, AtaError> readAtaHealth(ata::Drive& drive) {
    TRY(const ata::Identity* const identity, drive.identify());
    const auto status = drive.smartHealth();
    if (!status && !isRegisterMissing(status.error())) return status.error();
    AtaHealth health;
    if (!status) {
        RETURN_IF_FAILED(judgeByAttributes(drive, "The SMART status cannot be read over this connection.", health));
    } else if (*status == Health::UNKNOWN) {
        RETURN_IF_FAILED(judgeByAttributes(drive, "The drive returned a SMART status that has no meaning.", health));
    } else {
        health.health = *status;
        if (*status == Health::THRESHOLD_EXCEEDED) describeExceeded(drive, health);
    }
    health.isLocked = identity->has(ata::identify::SECURITY_LOCKED);
    if (health.isLocked) addSentence(health.text, "The drive is locked by ATA security.");
    if (health.text.empty()) health.text = HEALTHY;
    // No failure: the firmware of many hosts does it at each start.
    if (identity->has(ata::identify::SECURITY_FROZEN)) health.text += " (ATA security is frozen)";
    return health;
}

}  // namespace features::jobs
