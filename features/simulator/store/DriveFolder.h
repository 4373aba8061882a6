#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "features/errors/Result.h"
#include "features/simulator/store/Description.h"
#include "features/simulator/store/DriveState.h"
#include "features/simulator/store/IdleHandles.h"
#include "ostrel/core/Status.h"

namespace features::simulator {

/// The names of the files in a drive's folder.
inline constexpr const char* FILE_DESCRIPTION = "description.ini";
inline constexpr const char* FILE_STATE = "state";
inline constexpr const char* FILE_LOCK = "lock";
inline constexpr const char* FILE_SERVED = "served";  ///< a lock, held as long as the drive is on the network
inline constexpr const char* FILE_DOWNLOAD = "firmware-download";
inline constexpr const char* MEDIA_PREFIX = "media-";
inline constexpr const char* LOG_PREFIX = "log-";
/// Files that were to replace others when their process died.
inline constexpr const char* REPLACEMENT_PREFIX = ".nimbrel-";

/// Looks for what no command could have brought about in a state, and returns what it is; null: all is possible.
using StateCheck = const char* (*)(const DriveState& state);

/// The folder of one simulated drive: its description, its state, its media. Any number of processes may use a drive at
/// once; each command is a transaction, begin() to commit() or rollBack(), under the folder's lock:
///
///     const DriveFolder::TransactionScope scope(folder);
///     Status status = folder.begin();     // waits for the lock, reads again what another process changed
///     folder.state.health.powerCycles++;
///     status = folder.commit();           // what changed is on the disk when this returns; the lock is free
///
/// A process may die at any instant: what was committed is there, and nothing else. The state file is replaced as a
/// whole, and only when it changed; it carries a magic, a version and a checksum. Media files that the state does not
/// name are leftovers of processes that died, and are removed with the first change. No symbolic link in the folder is
/// followed, and no pipe, device or giant file is read. The folder is its owner's alone: begin() takes the permissions
/// of others away, and refuses one that others may write.
///
/// Between transactions the files stay open for a while (IdleHandles.h): begin() looks whether they are still those of
/// the drive, and reads their contents again.
///
/// Errors:  of the system with errno and the path (see OwnFiles.h); a damaged description or state is 1/22 (EINVAL) or
///          1/74 (EBADMSG) with what is wrong.
/// Threads: one at a time per object; several objects on one folder, in one process or many.
class DriveFolder {
public:
    /// `check`: of each state that is read. What is possible depends on features and logs, which a folder does not
    /// know.
    DriveFolder(std::string path, StateCheck check) : path_(std::move(path)), check_(check) {}
    ~DriveFolder() { (void)idle_->take(this); }
    DriveFolder(const DriveFolder&) = delete;
    DriveFolder& operator=(const DriveFolder&) = delete;

    /// Ends with the block a transaction that is still open then: an exception ended it, perhaps for want of memory.
    /// Nothing of it is kept.
    class TransactionScope {
    public:
        explicit TransactionScope(DriveFolder& folder) : folder_(folder) {}
        ~TransactionScope() { folder_.abandon(); }
        TransactionScope(const TransactionScope&) = delete;
        TransactionScope& operator=(const TransactionScope&) = delete;

    private:
        DriveFolder& folder_;
    };

    /// Within a TransactionScope.
    ostrel::core::Status begin();
    /// Whether or not it fails, the transaction is over. A failure leaves the state as it was before begin().
    ostrel::core::Status commit();
    void rollBack();
    /// Takes back what was changed and not saved, and stays in the transaction.
    void restore();
    /// Makes the changes so far durable and stays in the transaction.
    ostrel::core::Status save();

    const std::string& path() const { return path_; }
    const Description& description() const { return description_; }
    /// The folder itself, for openat(2).
    int descriptor() const { return handles_.folder.get(); }
    /// Whether the state was made by this begin(): the drive is new, and the state empty.
    bool isNew() const { return isNew_; }

    /// The state file of a state. `sequence` counts the files, so that a process sees that there is another one.
    static std::vector<uint8_t> stateBytes(DriveState& state, uint64_t sequence);
    /// "media-1-7": of namespace 1, generation 7.
    static std::string mediaName(uint32_t nsid, uint32_t generation);

    /// What the scan reports without a lock and without the whole state.
    struct Identity {
        std::string descriptionText;
        Description description;
        Result<std::string> firmware;  ///< empty: the drive was never used; an error: its state is damaged
    };
    static Result<Identity> readIdentity(const std::string& path);
    /// What the scan read of this drive, before the first begin(): that need not parse the description again, as long
    /// as its file has the same text.
    void expect(const Identity& identity);
    /// The text of a drive's description. `folder`: opened, at `path`.
    static Result<std::string> readDescription(int folder, const std::string& path);

    DriveState state;

private:
    void abandon() noexcept;
    ostrel::core::Status lock();
    ostrel::core::Status openFiles();
    /// Whether the folder and the lock file that are open still have their names: the drive may have been removed, or
    /// have gone back to its snapshot, while this process waited for the lock or before. What was written by the path
    /// would go to a drive that is not locked.
    Result<bool> isCurrent() const;
    void endTransaction() noexcept;
    ostrel::core::Status loadDescription();
    ostrel::core::Status loadState();
    bool isKnownState(const OwnFile& file) const;
    Result<DriveState> parseState(const std::string& bytes) const;
    ostrel::core::Status checkNew() const;
    void removeLeftovers();
    std::string filePath(const char* name) const { return path_ + "/" + name; }

    std::string path_;
    StateCheck check_;
    std::shared_ptr<IdleHandles> idle_ = IdleHandles::ofProcess();
    DriveHandles handles_;  ///< in a transaction

    std::string descriptionText_;      ///< as it was read last
    std::vector<uint8_t> savedBytes_;  ///< the state file; empty: there is none
    Description description_;
    bool isNew_ = false;
    bool isChecked_ = false;  ///< leftovers were looked for
};

}  // namespace features::simulator
