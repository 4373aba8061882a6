#include "features/simulator/logs/EventJournal.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "features/nvme/structures/PersistentEventLog.h"
#include "features/simulator/store/Extension.h"
#include "ostrel/core/FileDescriptor.h"

namespace features::simulator {

using ostrel::core::FileDescriptor;

namespace {

constexpr size_t MAX_IN_STATE = 4096;
/// When the file cannot be written, so many are kept in the state.
constexpr size_t MAX_WITHOUT_FILE = 16384;
constexpr size_t KEPT_OF_A_FULL_FILE = EventJournal::MAX_BYTES / 4 * 3;

struct JournalState {
    static constexpr const char* NAME = "persistent-events";
    uint8_t slot = 0;
    uint64_t fileBytes = 0;
    std::vector<uint8_t> recent;

    template <class A>
    void fields(A& archive) {
        archive(slot, fileBytes, recent);
    }
};

FileDescriptor openFile(const CommandContext& context, uint8_t slot, int flags) {
    const std::string name = std::string(LOG_PREFIX) + JournalState::NAME + "-" + std::to_string(slot);
    return FileDescriptor(
        ::openat(context.folder.descriptor(), name.c_str(), flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600));
}

bool writeAt(int descriptor, const std::vector<uint8_t>& bytes, uint64_t offset) {
    for (size_t at = 0; at < bytes.size();) {
        const ssize_t count =
            ::pwrite(descriptor, bytes.data() + at, bytes.size() - at, static_cast<off_t>(offset + at));
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        at += static_cast<size_t>(count);
    }
    return ::fdatasync(descriptor) == 0;
}

std::optional<std::vector<uint8_t>> readFile(const CommandContext& context, const JournalState& journal) {
    if (journal.fileBytes == 0) return std::vector<uint8_t>();
    const FileDescriptor file = openFile(context, journal.slot, O_RDONLY);
    if (!file.isOpen() || journal.fileBytes > EventJournal::MAX_BYTES) return std::nullopt;
    std::vector<uint8_t> bytes(static_cast<size_t>(journal.fileBytes));
    for (size_t at = 0; at < bytes.size();) {
        const ssize_t count = ::read(file.get(), bytes.data() + at, bytes.size() - at);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return std::nullopt;
        at += static_cast<size_t>(count);
    }
    return bytes;
}

/// Leaves whole events out at the front.
void dropOldest(std::vector<uint8_t>& events, size_t maxBytes) {
    const std::vector<size_t> kept = EventJournal::offsets(events, maxBytes);
    const size_t first = kept.empty() ? events.size() : kept.front();
    events.erase(events.begin(), events.begin() + static_cast<std::ptrdiff_t>(first));
}

bool appendToFile(const CommandContext& context, JournalState& journal) {
    const FileDescriptor file = openFile(context, journal.slot, O_WRONLY | O_CREAT);
    // After the bytes that count there may be some of a process that died.
    if (!file.isOpen() || !writeAt(file.get(), journal.recent, journal.fileBytes)) return false;
    journal.fileBytes += journal.recent.size();
    return true;
}

bool startNewFile(const CommandContext& context, JournalState& journal) {
    // Of a damaged file nothing is kept: what comes now is not lost with it.
    std::vector<uint8_t> events = readFile(context, journal).value_or(std::vector<uint8_t>());
    events.insert(events.end(), journal.recent.begin(), journal.recent.end());
    dropOldest(events, KEPT_OF_A_FULL_FILE);
    const auto slot = static_cast<uint8_t>(1 - (journal.slot & 1));
    const FileDescriptor file = openFile(context, slot, O_WRONLY | O_CREAT | O_TRUNC);
    if (!file.isOpen() || !writeAt(file.get(), events, 0)) return false;
    journal.slot = slot;
    journal.fileBytes = events.size();
    return true;
}

}  // namespace

std::vector<size_t> EventJournal::offsets(const std::vector<uint8_t>& events, size_t maxBytes) {
    std::vector<size_t> all;
    for (size_t at = 0; at < events.size();) {
        if (events.size() - at < HEADER_BYTES) return {};
        const size_t bytes = HEADER_BYTES + nvme::structureAt<nvme::PersistentEventHeader>(events.data() + at).el;
        if (events.size() - at < bytes) return {};
        if (events.size() - at <= maxBytes) all.push_back(at);
        at += bytes;
    }
    return all;
}

void EventJournal::append(const std::vector<uint8_t>& event) {
    auto journal = readExtension<JournalState>(context_.state);
    journal.recent.insert(journal.recent.end(), event.begin(), event.end());
    if (journal.recent.size() > MAX_IN_STATE) {
        const bool fits = journal.fileBytes <= MAX_BYTES && journal.fileBytes + journal.recent.size() <= MAX_BYTES;
        if (fits ? appendToFile(context_, journal) : startNewFile(context_, journal)) {
            journal.recent.clear();
        } else {
            dropOldest(journal.recent, MAX_WITHOUT_FILE);
        }
    }
    writeExtension(context_.state, journal);
}

std::optional<std::vector<uint8_t>> EventJournal::read() const {
    const auto journal = readExtension<JournalState>(context_.state);
    std::optional<std::vector<uint8_t>> events = readFile(context_, journal);
    if (!events) return std::nullopt;
    events->insert(events->end(), journal.recent.begin(), journal.recent.end());
    return events->empty() || !offsets(*events).empty() ? events : std::nullopt;
}

}  // namespace features::simulator
