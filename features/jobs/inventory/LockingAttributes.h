#pragma once

#include <optional>

#include "features/jobs/inventory/ListedAttributes.h"
#include "features/nvme/Level0Discovery.h"
#include "ostrel/core/Attribute.h"
#include "ostrel/core/Status.h"
#include "ostrel/core/Strings.h"

namespace features::jobs {

/// What the list shows of Level 0 Discovery. The vocabulary does not have these keys.
ostrel::core::Attribute tcgFeatureNames();
ostrel::core::Attribute tcgLockingEnabled();
ostrel::core::Attribute tcgLocked();
ostrel::core::Attribute tcgMbrShadowed();

/// Level 0 Discovery of one drive, read once. That it cannot be read does not end the list: failure() says why.
class ListedLocking {
public:
    /// Null: the drive does not support it. `read`: readDriveLocking() of that drive.
    template <typename Read>
    const nvme::Level0Discovery* get(Read read) {
        if (!isRead_) take(read());
        return locking_ ? &*locking_ : nullptr;
    }
    const ostrel::core::Status& failure() const { return failure_; }

private:
    template <typename Locking>
    void take(const Locking& locking) {
        isRead_ = true;
        if (locking) locking_ = *locking;
        if (!locking) failure_ = locking.error();
    }

    bool isRead_ = false;
    std::optional<nvme::Level0Discovery> locking_;
    ostrel::core::Status failure_;
};

/// Texts of rows whose facts have locking().
template <typename Facts>
ListedText tcgFeatures(Facts& facts) {
    const nvme::Level0Discovery* const locking = facts.locking();
    return locking == nullptr ? ListedText() : locking->featureText();
}
template <typename Facts, bool nvme::Level0Discovery::* FLAG>
ListedText tcgFlag(Facts& facts) {
    const nvme::Level0Discovery* const locking = facts.locking();
    return locking == nullptr ? ListedText() : ostrel::core::boolToText(locking->*FLAG);
}

}  // namespace features::jobs
