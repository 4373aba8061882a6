#include "features/transport/linux/MediaContent.h"

#include <blkid/blkid.h>
#include <fcntl.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>

#include "features/nvme/Bytes.h"
#include "ostrel/core/LoadedLibrary.h"
#include "ostrel/core/SystemError.h"

namespace features::transport {

namespace {

/// libblkid as it is loaded.
class Blkid {
public:
    explicit Blkid(const char* library) : library_(library) {
        isComplete_ = library_.load(newProbe, "blkid_new_probe") && library_.load(freeProbe, "blkid_free_probe") &&
                      library_.load(setDevice, "blkid_probe_set_device") &&
                      library_.load(sizeOf, "blkid_probe_get_size") &&
                      library_.load(enablePartitions, "blkid_probe_enable_partitions") &&
                      library_.load(setFlags, "blkid_probe_set_superblocks_flags") &&
                      library_.load(probe, "blkid_do_probe") && library_.load(lookUp, "blkid_probe_lookup_value");
    }

    bool isComplete() const { return isComplete_; }
    /// A value of what was found; empty when it has none.
    std::string value(blkid_probe of, const char* name) const {
        const char* text = nullptr;
        size_t size = 0;
        if (lookUp(of, name, &text, &size) != 0 || size == 0) return {};
        // The size includes the zero at the end. The text is the media's: any bytes.
        return nvme::shownText(reinterpret_cast<const uint8_t*>(text), size - 1);
    }

    decltype(&::blkid_new_probe) newProbe = nullptr;
    decltype(&::blkid_free_probe) freeProbe = nullptr;
    decltype(&::blkid_probe_set_device) setDevice = nullptr;
    decltype(&::blkid_probe_get_size) sizeOf = nullptr;
    decltype(&::blkid_probe_enable_partitions) enablePartitions = nullptr;
    decltype(&::blkid_probe_set_superblocks_flags) setFlags = nullptr;
    decltype(&::blkid_do_probe) probe = nullptr;

private:
    decltype(&::blkid_probe_lookup_value) lookUp = nullptr;
    ostrel::core::LoadedLibrary library_;
    bool isComplete_ = false;
};

/// What libblkid calls a use, in words.
constexpr struct {
    const char* usage;
    const char* text;
} USAGES[] = {
    {"filesystem", "a file system"},
    {"raid", "a member of an array or a volume group"},
    {"crypto", "an encrypted volume"},
};

std::string describe(const Blkid& blkid, blkid_probe probe) {
    const std::string table = blkid.value(probe, "PTTYPE");
    if (!table.empty()) return "a partition table (" + table + ")";
    std::string text = "data";
    const std::string usage = blkid.value(probe, "USAGE");
    for (const auto& row : USAGES) {
        if (usage == row.usage) text = row.text;
    }
    const std::string label = blkid.value(probe, "LABEL");
    return text + " (" + blkid.value(probe, "TYPE") + (label.empty() ? "" : ", label '" + label + "'") + ")";
}

MediaContent unreadable(const std::string& reason) {
    return {MediaContent::Kind::UNREADABLE, reason};
}

/// libblkid does not set errno for each of its errors.
MediaContent unreadable(int error) {
    return unreadable(ostrel::core::systemErrorText(error != 0 ? error : EIO));
}

}  // namespace

MediaContent readMediaContent(int descriptor, const char* library) {
    const Blkid blkid(library);
    if (!blkid.isComplete()) return unreadable(std::string(library) + " cannot be loaded");
    const std::unique_ptr<std::remove_pointer_t<blkid_probe>, decltype(blkid.freeProbe)> probe(blkid.newProbe(),
                                                                                               blkid.freeProbe);
    if (!probe) return unreadable(ENOMEM);
    // Not what the page cache has from before a format or sanitize, which pass it by.
    (void)::posix_fadvise(descriptor, 0, 0, POSIX_FADV_DONTNEED);  // dirty pages of other openers remain, and count
    errno = 0;
    if (blkid.setDevice(probe.get(), descriptor, 0, 0) != 0) return unreadable(errno);
    if (blkid.sizeOf(probe.get()) == 0) return unreadable("it has no blocks that the kernel can read");
    (void)blkid.enablePartitions(probe.get(), 1);  // of a probe that exists, neither fails
    (void)blkid.setFlags(probe.get(), BLKID_SUBLKS_TYPE | BLKID_SUBLKS_USAGE | BLKID_SUBLKS_LABEL);
    errno = 0;
    const int outcome = blkid.probe(probe.get());
    const int error = errno;
    if (outcome == 0) return {MediaContent::Kind::KNOWN, describe(blkid, probe.get())};
    if (outcome == 1) return {MediaContent::Kind::NONE, {}};
    return unreadable(error);
}

}  // namespace features::transport
