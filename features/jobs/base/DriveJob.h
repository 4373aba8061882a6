#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "features/ata/Drive.h"
#include "features/jobs/base/Arguments.h"
#include "features/jobs/base/DriveOutput.h"
#include "features/nvme/Drive.h"
#include "ostrel/interfaces/ostreli/interface/Job.h"

namespace features::jobs {

/// The base of all jobs of this library: it walks over the drives and makes the answer's shape; a job says what is to
/// be done on one drive, for NVMe and for SATA drives apart, so that no drive gets a command of the other set.
///
///   - GetProperties: showDrive() for each drive, side by side; one output object with what each drive gave.
///   - Method:        actOnDrive() for each drive, one after the other; one output object as above.
///   - SetProperty:   setOnDrive() on the one drive.
///
/// A SATA drive gets the operation whose name has "Ata".
///
/// Each drive is named by its serial number; by that and its node, "S1 nvme0", where two of them have the same one.
///
/// A drive that fails does not spoil the others: its status is in the output under the job's title and the drive's
/// serial number.
///
/// Deriving: override the operations that the job knows; those it does not know answer 10/34, and for a SATA drive
/// ataRefusal(). checkRequest() looks at the arguments before any drive is touched: a bad one is the status of the
/// whole request. showDrive() and showAtaDrive() may run on several threads at once, for different drives, so they must
/// not change the job.
class DriveJob : public ostrel::interfaces::ostreli::Job {
public:
    ostrel::core::AttributeList getSupportedProperties() const override;
    ostrel::core::Status runMethod(const std::shared_ptr<ostrel::core::xml::XmlObject>& output) override;
    ostrel::core::Status getProperties(const std::shared_ptr<ostrel::core::xml::XmlObject>& output) override;
    ostrel::core::Status setProperty(const ostrel::core::AttributeList& requested) override;

protected:
    /// `title` heads what the job shows ("Health Sensors").
    DriveJob(std::string name, std::string title) : Job(std::move(name)), title_(std::move(title)) {}

    virtual ostrel::core::Status checkRequest(const Arguments& arguments);
    virtual ostrel::core::Status showDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out);
    virtual ostrel::core::Status actOnDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out);
    /// A message of a success is shown to the user after the tool's own; that of Status() is not.
    virtual ostrel::core::Status setOnDrive(nvme::Drive& drive, const ostrel::core::Attribute& attribute);

    virtual ostrel::core::Status showAtaDrive(ata::Drive& drive, const Arguments& arguments, DriveOutput& out);
    virtual ostrel::core::Status actOnAtaDrive(ata::Drive& drive, const Arguments& arguments, DriveOutput& out);
    virtual ostrel::core::Status setOnAtaDrive(ata::Drive& drive, const ostrel::core::Attribute& attribute);
    /// The status of what the job does not do on SATA drives.
    virtual ostrel::core::Status ataRefusal() const;
    /// A refusal with the drive's name.
    static ostrel::core::Status refuseAta(const ostrel::core::Device& device, const ostrel::core::Status& refusal);

    /// Adds one output object with what `drive` gave; it is empty then.
    static void addOutput(ostrel::core::xml::XmlObject& output, DriveOutput& drive);

    /// The memory that what is shown of a drive takes, in bytes, for makeHeapRoom().
    virtual std::size_t bytesOfDrive() const;

    /// Whether the drive understands ATA commands, not those of NVMe.
    static bool isAta(const ostrel::core::Device& device);
    /// Whether the request names drives, and they are one.
    bool isOneDriveNamed() const;
    /// How the answer names each drive.
    std::vector<std::string> driveNames() const;

    const std::string& title() const { return title_; }
    /// The arguments of the input. Only while the job runs.
    Arguments arguments() const { return Arguments(*getInput()); }
    /// The properties of the request, as they were sent; nothing when it has none. Only while the job runs.
    std::optional<Arguments> sentProperties() const;
    /// The property that is to be set, as it was sent: an Attribute has lost what was wrong with its text. Only while
    /// setOnDrive() runs.
    Arguments propertyToSet() const;

private:
    template <typename Drive>
    using OperationOn = ostrel::core::Status (DriveJob::*)(Drive&, const Arguments&, DriveOutput&);
    /// One operation, by the command set of the drive.
    struct Operation {
        OperationOn<nvme::Drive> onNvme;
        OperationOn<ata::Drive> onAta;
    };

    ostrel::core::Status runOnDrive(const Operation& operation, ostrel::core::Device& device, DriveOutput& out);
    /// Adds one output object with what `operation` gave for each drive, in the order of the drives.
    void runOnDrives(ostrel::core::xml::XmlObject& output, const ostrel::core::AttributeList* requested,
                     std::size_t atOnce, const Operation& operation);

    std::string title_;
};

}  // namespace features::jobs
