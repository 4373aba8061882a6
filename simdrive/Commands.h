#pragma once

#include <string>
#include <vector>

#include "features/simulator/store/DriveStore.h"
#include "simdrive/CommandLine.h"
#include "simdrive/Outcome.h"

/// What nimbrel-simdrive does, one function a command.
namespace simdrive {

using features::simulator::DriveStore;

Outcome create(const DriveStore& store, const CommandLine& line);
Outcome list(const DriveStore& store, const CommandLine& line);
Outcome remove(const DriveStore& store, const CommandLine& line);
Outcome fault(const DriveStore& store, const CommandLine& line);
Outcome snapshot(const DriveStore& store, const CommandLine& line);
Outcome reset(const DriveStore& store, const CommandLine& line);
/// Returns when the process gets SIGTERM or SIGINT. Says on standard output where it listens.
Outcome serve(const DriveStore& store, const CommandLine& line);

/// The path of a drive that can be used; a failure says why it is none.
ostrel::core::Status findDrive(const DriveStore& store, const std::string& name, std::string& path);
/// Takes the lock that `serve` holds on a drive's opened folder; isHeld(): another process has it.
ostrel::core::Status lockServed(const ostrel::core::FileDescriptor& folder, const std::string& path,
                                ostrel::core::FileDescriptor& lock);
bool isHeld(const ostrel::core::Status& status);

}  // namespace simdrive
