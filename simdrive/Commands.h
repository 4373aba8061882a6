#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "features/errors/Result.h"
#include "features/simulator/store/DriveStore.h"
#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/Status.h"
#include "simdrive/FaultText.h"
#include "simdrive/Outcome.h"

/// What nimbrel-simdrive does, one function a command.
namespace simdrive {

using features::simulator::DriveStore;

struct CreateOptions {
    CreateOptions() { drive.description.sizeBytes = uint64_t{16} << 30; }

    DriveStore::NewDrive drive;  ///< what all of them have; without name and serial number
    uint64_t count = 1;
    std::optional<std::string> serial;   ///< empty: a random one
    std::optional<std::string> capture;  ///< the folder of one, whose answers the drive gives
    bool wantsJson = false;
};
struct FaultOptions {
    std::vector<Fault> faults;  ///< to set
    bool wantsJson = false;
};
struct ServeOptions {
    std::optional<std::string> address;
    std::optional<uint16_t> port;  ///< 0: any free one
    std::optional<uint16_t> secondPort;
    std::optional<std::string> secretFile;
    std::optional<std::string> controllerSecretFile;
};

/// `names`: one, or none for that of the model with a number.
Outcome create(const DriveStore& store, const std::vector<std::string>& names, const CreateOptions& options);
Outcome list(const DriveStore& store, bool wantsJson);
Outcome remove(const DriveStore& store, const std::vector<std::string>& names);
/// `words`: a drive; "clear" may follow, and kinds of faults.
Outcome fault(const DriveStore& store, const std::vector<std::string>& words, const FaultOptions& options);
Outcome snapshot(const DriveStore& store, const std::string& name);
Outcome reset(const DriveStore& store, const std::string& name);
/// The drive loses its power and gets it back: what lasts until then is forgotten.
Outcome powerCycle(const features::simulator::DriveStore& store, const std::string& name);
/// Returns when the process gets SIGTERM or SIGINT. Says on standard output where it listens.
Outcome serve(const DriveStore& store, const std::string& name, const ServeOptions& options);

/// The path of a drive that can be used; an error says why it is none.
features::Result<std::string> findDrive(const DriveStore& store, const std::string& name);
/// Takes the lock that `serve` holds on a drive's opened folder; isHeld(): another process has it.
features::Result<ostrel::core::FileDescriptor> lockServed(const ostrel::core::FileDescriptor& folder,
                                                          const std::string& path);
bool isHeld(const ostrel::core::Status& status);

}  // namespace simdrive
