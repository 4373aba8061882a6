#include "ostrel/interfaces/ostreli/interface/Job.h"

#include <utility>

#include "ostrel/core/Logging.h"
#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/Strings.h"
#include "ostrel/core/UtcTime.h"
#include "ostrel/core/XmlConverter.h"
#include "ostrel/core/xml/XmlConstants.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace ostrel::interfaces::ostreli {

using boost::posix_time::ptime;
using core::AttributeList;
using core::logMessage;
using core::Status;
using core::utcNow;
using core::xml::XmlObject;

namespace statuses = core::statuses;

namespace {

template <typename Value>
void setGuarded(std::mutex& mutex, Value& field, const Value& value) {
    OSTREL_TRACE();
    const std::lock_guard<std::mutex> lock(mutex);
    field = value;
}

template <typename Value>
Value getGuarded(std::mutex& mutex, const Value& field) {
    OSTREL_TRACE();
    const std::lock_guard<std::mutex> lock(mutex);
    return field;
}

}  // namespace

Job::Job(std::string name) : name_(std::move(name)) {
    OSTREL_TRACE();
}

Job::~Job() = default;

Status Job::run(const std::shared_ptr<XmlObject>& output) {
    OSTREL_TRACE();
    state_ = JOBSTATE_RUNNING;
    setGuarded(mutex_, startTime_, utcNow());
    const Status result = input_ == nullptr ? statuses::jobNoInputXml() : interpret(output);
    setGuarded(mutex_, endTime_, utcNow());
    setStatus(this, result);
    state_ = JOBSTATE_FINISHED;
    return result;
}

Status Job::interpret(const std::shared_ptr<XmlObject>& output) {
    OSTREL_TRACE();
    const std::string type = input_->getAttribute(core::xml::KEY_TYPE);
    const std::string method = input_->getAttribute(core::xml::KEY_NAME);
    logMessage(core::LOGSEVERITY_DEBUG, "Type = ", type);
    logMessage(core::LOGSEVERITY_DEBUG, "Method Name = ", method);
    if (method != name_) return statuses::jobInvalidName();
    if (type == JOBTYPE_METHOD) return interpretMethod(output);
    if (type == JOBTYPE_GET_PROPERTIES) {
        (void)getProperties(output);  // errors of a get travel in the output
        return Status();
    }
    if (type == JOBTYPE_SET_PROPERTY) return interpretSetProperty();
    return statuses::jobInvalidMethodType();
}

Status Job::interpretMethod(const std::shared_ptr<XmlObject>& output) {
    OSTREL_TRACE();
    const Status status = runMethod(output);
    // A method that produced output has succeeded, whatever it returns: the error is in the output.
    return output != nullptr && !output->isEmpty() ? Status() : status;
}

Status Job::interpretSetProperty() {
    OSTREL_TRACE();
    if (devices_.empty()) return statuses::noDeviceSelected();
    if (devices_.size() > 1) return statuses::multipleDevicesSelected();
    AttributeList requested;
    const Status status = getRequestedSetProperties(requested);
    return succeeded(status) ? setProperty(requested) : status;
}

Status Job::getRequestedSetProperties(AttributeList& requested) {
    OSTREL_TRACE();
    const auto properties = input_ == nullptr ? nullptr : getRequestedGetProperties(*input_);
    requested = properties == nullptr ? AttributeList() : *properties;
    if (requested.empty()) {
        logMessage(core::LOGSEVERITY_ERROR, "No properties found");
        return statuses::noProperties();
    }
    if (requested.size() > 1) {
        logMessage(core::LOGSEVERITY_ERROR, "Too many properties");
        return statuses::tooManyProperties();
    }
    if (requested.begin()->second.getSize() == 0) {
        logMessage(core::LOGSEVERITY_ERROR, "Property has no value");
        return statuses::propertyWithoutValue();
    }
    return Status();
}

bool Job::isReady() {
    OSTREL_TRACE();
    return true;
}

void Job::copyFrom(const Job& other) {
    OSTREL_TRACE();
    if (this == &other) return;
    setStatus(this, other.getStatus());
    if (other.input_ != nullptr) setInput(*other.input_);
    devices_ = other.devices_;
}

Status Job::runMethod(const std::shared_ptr<XmlObject>&) {
    OSTREL_TRACE();
    return statuses::featureNotSupported();
}

Status Job::getProperties(const std::shared_ptr<XmlObject>&) {
    OSTREL_TRACE();
    return statuses::featureNotSupported();
}

Status Job::setProperty(const AttributeList&) {
    OSTREL_TRACE();
    return statuses::featureNotSupported();
}

void Job::setInput(const XmlObject& tree) {
    OSTREL_TRACE();
    input_ = std::make_unique<XmlObject>(tree);
}

void Job::setStatus(Job* job, const Status& status) {
    OSTREL_TRACE();
    if (job != nullptr) setGuarded(job->mutex_, job->status_, status);
}

Status Job::getStatus() const {
    OSTREL_TRACE();
    return getGuarded(mutex_, status_);
}

ptime Job::getStartTime() const {
    OSTREL_TRACE();
    return getGuarded(mutex_, startTime_);
}

ptime Job::getEndTime() const {
    OSTREL_TRACE();
    return getGuarded(mutex_, endTime_);
}

void Job::setProgress(std::uint8_t progress) {
    OSTREL_TRACE();
    progress_ = progress;
    if (!notifyEnabled_ || progressCallback_.function == nullptr) return;
    progressCallback_.function(progressCallback_.context, reinterpret_cast<std::uintptr_t>(this), *statusTree());
}

std::unique_ptr<XmlObject> Job::statusTree() const {
    OSTREL_TRACE();
    auto tree = std::make_unique<XmlObject>();
    tree->attributes[core::xml::KEY_NAME] = name_;
    tree->attributes[core::xml::KEY_CATEGORY] = "Job";
    tree->attributes[core::xml::KEY_IDENTIFIER] =
        core::numberToText<std::uint64_t>(reinterpret_cast<std::uintptr_t>(this));
    tree->addProperty("State", core::numberToText<std::uint32_t>(state_));
    tree->addProperty("Progress", core::numberToText<std::uint8_t>(progress_));
    tree->objects.push_back(core::XmlConverter::statusToXml(getStatus()));
    return tree;
}

}  // namespace ostrel::interfaces::ostreli
