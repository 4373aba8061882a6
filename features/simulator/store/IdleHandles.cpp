#include "features/simulator/store/IdleHandles.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

namespace features::simulator {

std::shared_ptr<IdleHandles> IdleHandles::ofProcess() {
    static const auto handles = std::make_shared<IdleHandles>();
    return handles;
}

void IdleHandles::keep(const void* owner, DriveHandles handles) noexcept {
    Entry kept{owner, std::move(handles)};
    const std::lock_guard<std::mutex> lock(mutex_);
    auto* place = std::find_if(entries_.begin(), entries_.end(), [](const Entry& e) { return e.owner == nullptr; });
    if (place == entries_.end()) {
        place = &entries_[replaced_];
        replaced_ = (replaced_ + 1) % MAX_DRIVES;
    }
    std::swap(*place, kept);
}

DriveHandles IdleHandles::take(const void* owner) noexcept {
    Entry taken;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        auto* place = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& e) { return e.owner == owner; });
        if (place == entries_.end()) return {};
        std::swap(*place, taken);
    }
    return taken.handles.process == ::getpid() ? std::move(taken.handles) : DriveHandles();
}

}  // namespace features::simulator
