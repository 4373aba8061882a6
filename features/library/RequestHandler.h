#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "features/errors/Result.h"
#include "features/library/Journal.h"
#include "features/library/LockedDrives.h"
#include "features/transport/DriveSource.h"
#include "ostrel/core/DeviceManager.h"
#include "ostrel/core/Status.h"
#include "ostrel/core/xml/XmlObject.h"
#include "ostrel/interfaces/ostreli/interface/Job.h"

namespace features::library {

/// Turns the text of a request into the tree of its answer: finds the job and the drives, and runs the job on them.
///
/// The answer's root bears the job's name. It holds one "status" object for the request as a whole, then the outputs.
///   - no XML: 11/2; a root without a name, or a name that is no job's: 11/4; a job that this library does not have:
///     10/34; a type that is none of the three: 11/5
///   - a drive that is named and not there: 0/4, 0/5, 0/7 or 0/8, by the kind of the name; 11/10 for another kind
///   - two namespaces of one drive: 10/6, since a job is about one of them
///   - a name that fits two drives (one serial number twice, also in another case; an index that is the serial number
///     of another drive), in a request that changes drives: 10/6 with the paths to choose from. One that only shows
///     takes the first. The controllers of one NVM subsystem are one drive: its serial number selects one that is live.
///   - a drive that another process is changing, in a request that changes drives: 11/9 with the process id
/// Every selector must lead to a drive before any of them is touched. No selector means all drives.
///
/// Where the scan for drives could not look at everything, what was found is shown, and the first output gets a status
/// of its own, 0/39, that names path and error. A drive that is not found keeps its status, with the path and the error
/// in the message. All drives, and a drive by its index, are a guess then: a request that changes drives is refused
/// (0/39). A drive that was found by its serial number or path is that drive.
///
/// Drives that the library has no commands for are in the list of all drives after the others, each with a status that
/// says so and does not change the exit status. They have no index, and one that is named is not found, with the
/// reason.
///
/// Threads: one request at a time.
class RequestHandler {
public:
    /// `journal` gets the audit trail of what changes drives.
    explicit RequestHandler(std::vector<std::unique_ptr<transport::DriveSource>> sources,
                            Journal journal = Journal::none());

    std::shared_ptr<ostrel::core::xml::XmlObject> answer(const std::string& request);

private:
    using Devices = std::vector<std::shared_ptr<ostrel::core::Device>>;
    using Locate = std::optional<transport::DriveLocation> (transport::DriveSource::*)(const std::string&,
                                                                                       transport::LookErrors&) const;

    ostrel::core::Status run(ostrel::core::xml::XmlObject& request,
                             const std::shared_ptr<ostrel::core::xml::XmlObject>& output);
    /// Runs the job of a request that changes drives, with their locks held.
    ostrel::core::Status runAudited(ostrel::interfaces::ostreli::Job& job, const ostrel::core::xml::XmlObject& request,
                                    const Devices& devices,
                                    const std::shared_ptr<ostrel::core::xml::XmlObject>& output) const;
    /// How a request selects its drives, and how far the scan can be relied on for that.
    struct Selection {
        bool changes = false;  ///< the request changes the drives
        bool isNamed = false;
        bool hasIndex = false;
        transport::LookErrors scanErrors;

        bool dependsOnScan() const { return !isNamed || hasIndex; }
    };

    static ostrel::core::Status checkSelection(const Selection& selection);
    Result<Devices> selectDevices(const ostrel::core::xml::XmlObject& request, Selection& selection);
    Result<std::shared_ptr<ostrel::core::Device>> selectDevice(const std::string& key, const std::string& value,
                                                               const Selection& selection);
    // The device that a selector means; null: none. What could not be looked at is added to `errors`.
    Result<std::shared_ptr<ostrel::core::Device>> findDevice(const std::string& key, const std::string& value,
                                                             bool changes, transport::LookErrors& errors);
    Result<std::shared_ptr<ostrel::core::Device>> deviceNamed(const std::string& key, const std::string& value,
                                                              bool changes);
    Result<std::shared_ptr<ostrel::core::Device>> deviceAt(const std::string& path, Locate locate,
                                                           transport::LookErrors& errors);
    Devices unsupportedDrives() const;
    // Why a name leads to no drive, where it is that of one that is not supported; otherwise empty.
    std::string whyNotSupported(const std::string& key, const std::string& value) const;
    std::vector<std::string> controllersOfDrive(const std::string& devicePath) const;
    ostrel::core::Status lockDrives(const Devices& devices, LockedDrives& locks) const;

    std::vector<std::unique_ptr<transport::DriveSource>> sources_;
    ostrel::core::DeviceManager manager_;
    Journal journal_;
};

}  // namespace features::library
