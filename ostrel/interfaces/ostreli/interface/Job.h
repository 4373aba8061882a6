#pragma once

#include <boost/date_time/posix_time/ptime.hpp>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "ostrel/core/AttributeList.h"
#include "ostrel/core/Status.h"
#include "ostrel/core/xml/XmlObject.h"

namespace ostrel::core {
class Device;
}

namespace ostrel::interfaces::ostreli {

/// Values of a job's state. A library may set others.
enum JobState : std::uint32_t {
    JOBSTATE_CREATED = 2,
    JOBSTATE_RUNNING = 4,
    JOBSTATE_FINISHED = 7,
};

/// Called with the job's address as its identifier and a tree of state, progress and status. The tree dies when
/// the function returns.
using JobProgressFunction = void (*)(void* context, std::uint64_t identifier, const core::xml::XmlObject& status);

/// The one unit of work that crosses the boundary between the tool and the feature library. It serves both sides: the
/// static functions at the top build the request, the object below interprets one.
///
/// A request is an XmlObject with the attributes "name" (the job, see JobNames.h) and "type" (see JobNames.h), and
///   - properties: the arguments, in the order in which they were added; the scan flag first, where there is one;
///   - a list "Devices" with one object "Device" with one property, the selector, for each drive that was named;
///   - an object "Properties" with one property for each property that is asked for, or that is to be set.
///
/// Deriving (library): one class per job name, which implements the pure operations and those of runMethod(),
/// getProperties() and setProperty() that the job knows. The order of the virtual operations is binary interface, new
/// ones go last. An exception out of one of them leaves run() and the job in the state JOBSTATE_RUNNING.
///
/// Threads: one thread runs the job. Meanwhile any other may cancel it and ask for status, times, state and progress,
///          which are guarded. Input, devices and callback are set before run().
class Job {
public:
    // Building a request.

    /// A request for the job `name`. With `scan` it asks for a scan for devices before the job runs. A `device` that
    /// is not empty selects one drive, by the key that its text names:
    ///   - digits alone: "Index";
    ///   - "bootdrive", ignoring case: "BootDrive";
    ///   - "/dev/" or "LSI" anywhere, ignoring case: "Path" (also for a serial number that happens to hold "lsi");
    ///   - anything else: "SerialNumber".
    static std::shared_ptr<core::xml::XmlObject> createRequest(const std::string& name, const std::string& type,
                                                               bool scan, const std::string& device);
    /// The same with the selector's key given.
    static std::shared_ptr<core::xml::XmlObject> createRequest(const std::string& name, const std::string& type,
                                                               bool scan, const std::string& device,
                                                               const std::string& key);
    /// Adds a list "Devices" of its own with one drive, which has the `value` under the `key`; nothing when `value` is
    /// empty.
    static void addDevice(core::xml::XmlObject& request, const std::string& value, const std::string& key);
    /// Adds an argument: the attribute with `value`, verbatim, in the place of its own value.
    static void addProperty(core::xml::XmlObject& request, const core::Attribute& attribute, const std::string& value);
    /// Adds a property that is asked for, or the one that is to be set, with the attribute's own value.
    static void addRequestedGetProperty(core::xml::XmlObject& request, const core::Attribute& attribute);
    /// What addRequestedGetProperty() has put in; null when it was never called. (Reading gives properties that lack
    /// one of the usual XML attributes an empty one.)
    static std::unique_ptr<core::AttributeList> getRequestedGetProperties(core::xml::XmlObject& request);

    // Running one.

    virtual ~Job();
    /// Interprets the input: does what it asks for and puts the result into the tree `output`. Returns the job's
    /// status, which getStatus() gives too:
    ///   - 11/2 without an input, 11/3 for another job's, 11/5 for a type that is not one of the three;
    ///   - "Method": what runMethod() returns, but success whenever there is any output;
    ///   - "GetProperties": success; errors of a get travel in the output;
    ///   - "SetProperty": 10/5 or 10/6 unless there is exactly one device, what getRequestedSetProperties() finds
    ///     fault with, or what setProperty() returns.
    virtual core::Status run(const std::shared_ptr<core::xml::XmlObject>& output);
    /// The properties that the job can get or set.
    virtual core::AttributeList getSupportedProperties() const = 0;
    /// A job of the same class and name, made new and filled by copyFrom().
    virtual std::unique_ptr<Job> clone() const = 0;
    /// Whether the job could run now. run() does not ask.
    virtual bool isReady();
    /// Takes over the status, a deep copy of the input where there is one, and the devices.
    virtual void copyFrom(const Job& other);
    /// These three return 10/34 here.
    virtual core::Status runMethod(const std::shared_ptr<core::xml::XmlObject>& output);
    virtual core::Status getProperties(const std::shared_ptr<core::xml::XmlObject>& output);
    /// `requested` holds the one property that is to be set.
    virtual core::Status setProperty(const core::AttributeList& requested);

    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;

    const std::string& getName() const { return name_; }
    /// Keeps a deep copy.
    void setInput(const core::xml::XmlObject& tree);
    /// Null until setInput().
    core::xml::XmlObject* getInput() const { return input_.get(); }
    void setDevices(const std::vector<std::shared_ptr<core::Device>>& devices) { devices_ = devices; }
    const std::vector<std::shared_ptr<core::Device>>& getDevices() const { return devices_; }

    /// `function` is called by each setProgress() on its thread, as long as notification is on; it is off at first.
    void setCallback(void* context, JobProgressFunction function) { progressCallback_ = {context, function}; }
    void setNotifyEnabled(bool enabled) { notifyEnabled_ = enabled; }

    /// Asks the job to end early. Whether and when it does is up to the job, which sets the cancelled flag then.
    void cancel() { cancelRequested_ = true; }
    /// False for a null job.
    static bool isCancelRequested(const Job* job) { return job != nullptr && job->cancelRequested_; }
    void setCancelled(bool cancelled) { cancelled_ = cancelled; }
    bool isCancelled() const { return cancelled_; }

    void setState(std::uint32_t state) { state_ = state; }
    std::uint32_t getState() const { return state_; }
    /// Does nothing for a null job.
    static void setStatus(Job* job, const core::Status& status);
    core::Status getStatus() const;
    /// UTC; "not a date time" until the job has started or ended.
    boost::posix_time::ptime getStartTime() const;
    boost::posix_time::ptime getEndTime() const;

    /// In per cent.
    void setProgress(std::uint8_t progress);
    std::uint8_t getProgress() const { return progress_; }

protected:
    explicit Job(std::string name);

    /// Reads the one property that a set request holds into `requested`, which is replaced whatever the outcome: 10/38
    /// for none, 10/37 for several, 10/39 for one without a value.
    core::Status getRequestedSetProperties(core::AttributeList& requested);

private:
    struct ProgressCallback {
        void* context = nullptr;
        JobProgressFunction function = nullptr;
    };

    core::Status interpret(const std::shared_ptr<core::xml::XmlObject>& output);
    core::Status interpretMethod(const std::shared_ptr<core::xml::XmlObject>& output);
    core::Status interpretSetProperty();
    std::unique_ptr<core::xml::XmlObject> statusTree() const;

    std::vector<std::shared_ptr<core::Device>> devices_;
    std::unique_ptr<core::xml::XmlObject> input_;
    std::string name_;
    std::atomic<bool> notifyEnabled_{false};
    ProgressCallback progressCallback_;
    std::atomic<std::uint8_t> progress_{0};
    std::atomic<bool> cancelRequested_{false};
    std::atomic<bool> cancelled_{false};
    std::atomic<std::uint32_t> state_{JOBSTATE_CREATED};
    mutable std::mutex mutex_;  // guards the three below
    core::Status status_;
    boost::posix_time::ptime startTime_;
    boost::posix_time::ptime endTime_;
};

}  // namespace ostrel::interfaces::ostreli
