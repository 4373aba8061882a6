#pragma once

#include <memory>
#include <string>
#include <vector>

#include "features/errors/Result.h"
#include "features/simulator/store/CapturedAnswers.h"
#include "features/simulator/store/Clock.h"
#include "features/simulator/store/Description.h"
#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/Status.h"

namespace features::simulator {

/// Where the simulated drives of a machine are: a folder for each.
inline constexpr const char* SIMULATED_DRIVES = "/opt/velko/nimbrel/SimulatedDrives";
/// The lock file beside the drives. Its name shows that the folder is one of simulated drives.
inline constexpr const char* STORE_LOCK = ".nimbrel-simdrive.lock";

/// The simulated drives of a machine. Their folder is its owner's alone, as is that of each drive.
///
/// Errors:  of the system with errno and the path; a name that is none is 1/22 (EINVAL), one that is taken 1/17
///          (EEXIST), one of no drive 1/2 (ENOENT).
/// Threads: any number of processes may make and remove drives at once.
class DriveStore {
public:
    explicit DriveStore(std::string folder = SIMULATED_DRIVES) : folder_(std::move(folder)) {}

    struct Listing {
        std::vector<std::string> names;
        ostrel::core::Status status;  ///< an error: there may be more drives than were read before it
    };
    /// The drives' names in order, numbers in them by their value. None when there is no such folder.
    Listing list() const;
    /// The same where an error does not matter.
    std::vector<std::string> names() const { return list().names; }
    /// To be held over what makes, changes or removes drives, so that names and serial numbers stay unique. Makes the
    /// folder when it is missing, and removes what killed processes left of drives that they made or removed.
    Result<ostrel::core::FileDescriptor> lock() const;
    struct NewDrive {
        std::string name;
        Description description;
        std::string firmware = {};  ///< the revision that it runs; empty: that of its model
        /// Of a drive that answers what another one did; null: it is one of its model.
        std::shared_ptr<const CapturedAnswers> capture = {};
    };
    /// Makes drives; each is there as a whole or not at all. Should one fail, those before it are there.
    ostrel::core::Status create(const std::vector<NewDrive>& drives, const Clock& clock) const;
    /// Waits for the command that the drive is at, and removes it with its snapshot.
    ostrel::core::Status remove(const std::string& name) const;
    /// Keeps a drive as it is between two commands: description, state, media and logs. An earlier snapshot of it is
    /// replaced, when the new one is whole.
    ostrel::core::Status snapshot(const std::string& name) const;
    /// Makes a drive again what it was at its snapshot, which stays: at once and as a whole. Without a snapshot: 1/2
    /// (ENOENT).
    ostrel::core::Status reset(const std::string& name) const;
    /// Changes the description of a drive, between two commands.
    ostrel::core::Status describe(const std::string& name, const Description& description) const;

    const std::string& folder() const { return folder_; }
    std::string pathOf(const std::string& name) const { return folder_ + "/" + name; }
    /// Letters, digits, '-', '_' and '.', which does not come first; 64 characters at most.
    static bool isName(const std::string& name);

private:
    Result<ostrel::core::FileDescriptor> makeFolder() const;
    ostrel::core::Status removeLeftovers(int folder) const;
    ostrel::core::Status checkFree(const std::string& name) const;
    Result<std::string> makeUnnamed() const;
    /// Takes the lock of the folder of a drive.
    Result<ostrel::core::FileDescriptor> lockNamed(const std::string& name) const;
    ostrel::core::Status copyOver(const std::string& from, const std::string& to) const;
    ostrel::core::Status discard(const std::string& path, const std::string& name) const;
    std::string snapshotOf(const std::string& name) const;

    std::string folder_;
};

}  // namespace features::simulator
