#pragma once

#include <string>
#include <utility>
#include <vector>

#include "features/errors/Result.h"
#include "features/jobs/firmware/FirmwareKeys.h"
#include "features/jobs/firmware/FirmwareManifest.h"
#include "features/jobs/firmware/SignaturePolicy.h"
#include "ostrel/core/Once.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// The folder of a manifest, and what it says.
struct FirmwareModule {
    std::string folder;
    FirmwareManifest manifest;
    std::string warning;  ///< where the policy wants one: the path of the manifest, and why its origin is not verified
};

/// The firmware modules of this machine: files "*.json" in the module directories, each with an image beside it
/// (docs/firmware-modules.md). Nothing is read before it is needed; a directory that is not there holds none, a
/// symbolic link is none, and a manifest that is damaged, or that other users can change, is passed over. A directory
/// that other users can change (ostrel::core::TrustedFile) makes choose() fail: they would decide what the drives run.
/// So does one whose SignaturePolicy cannot be read. A manifest whose signature is wrong, or whose origin the policy
/// does not take, is passed over, too.
///
/// Threads: any number at once.
class FirmwareModules {
public:
    /// `directories`: their paths with '~' between them, as the tool sends them.
    explicit FirmwareModules(std::string directories, FirmwareKeys keys = FirmwareKeys())
        : directories_(std::move(directories)), keys_(std::move(keys)) {}

    /// The newest module for a drive of this model number that runs this revision; it belongs to this object. Otherwise
    /// 10/64 when the drive runs the newest firmware, 10/70 when there is none for it, 10/71 when there are no modules,
    /// 10/54 with the reason when a directory is refused.
    Result<const FirmwareModule*> choose(const std::string& model, const std::string& revision) const;
    /// The image of a module, which is what the manifest says: 10/54 when it cannot be read, 10/73 with the reason when
    /// its digest is another.
    static Result<std::string> readImage(const FirmwareModule& module);

    /// "Searched: '/a', '/b'.", for a user who wonders where modules belong.
    std::string searched() const;
    /// What could not be read, and why, in one text; empty when all could.
    std::string faults() const;

private:
    /// Each directory once: the tool may send one twice.
    std::vector<std::string> folders() const;
    void load() const;
    void loadFolder(const std::string& path) const;
    void loadManifest(const std::string& folder, const std::string& name, SignaturePolicy policy) const;
    /// What is wrong with the module; empty: nothing.
    std::string readModule(const std::string& path, SignaturePolicy policy, FirmwareModule& module) const;

    std::string directories_;
    FirmwareKeys keys_;
    mutable ostrel::core::Once loaded_;
    mutable std::vector<FirmwareModule> modules_;
    mutable std::string faults_;
    mutable ostrel::core::Status refusal_;  // of a directory; success when none was
};

}  // namespace features::jobs
