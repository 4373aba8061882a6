#include "tests/unit/features/jobs/JobRun.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "ostrel/core/xml/XmlProperty.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;
using ostrel::interfaces::ostreli::Job;

namespace {

void sortAttributeLists(xml::XmlObject& object) {
    if (object.getAttribute(xml::KEY_CATEGORY) == xml::CATEGORY_ATTRIBUTE_LIST) {
        std::sort(object.properties.begin(), object.properties.end(), [](const auto& left, const auto& right) {
            return left->getAttribute(xml::KEY_NAME) < right->getAttribute(xml::KEY_NAME);
        });
    }
    for (const auto& child : object.objects) sortAttributeLists(*child);
}

/// Every object of a drive carries these two, which the answers of the tests leave out: DriveOutputTest shows them.
void removeIdentity(xml::XmlObject& object) {
    auto& properties = object.properties;
    properties.erase(std::remove_if(properties.begin(), properties.end(),
                                    [](const auto& property) {
                                        const std::string name = property->getAttribute(xml::KEY_NAME);
                                        return name == "SerialNumber" || name == "DevicePath";
                                    }),
                     properties.end());
    for (const auto& child : object.objects) removeIdentity(*child);
}

/// A line end before each tag but the first. Attribute values have no '<'.
std::string onLines(const std::string& text) {
    std::string lines;
    for (const char c : text) {
        if (c == '<' && !lines.empty()) lines += '\n';
        lines += c;
    }
    return lines;
}

}  // namespace

JobRun::JobRun(Job& job, const std::string& type)
    : job_(job), request_(Job::createRequest(job.getName(), type, true, "", "")) {}

JobRun& JobRun::naming(const std::string& serialNumber) {
    Job::addDevice(*request_, serialNumber, xml::NAME_SERIAL_NUMBER);
    return *this;
}

JobRun& JobRun::with(const std::string& key, const std::string& value) {
    Job::addProperty(*request_, Attribute(key, key, typeString()), value);
    return *this;
}

JobRun& JobRun::asking(const std::string& name) {
    Job::addRequestedGetProperty(*request_, Attribute(name, "", typeString()));
    return *this;
}

JobRun& JobRun::setting(Attribute attribute, const std::string& value) {
    EXPECT_EQ(attribute.fromText(value).getCode(), 0U) << value;
    Job::addRequestedGetProperty(*request_, attribute);
    return *this;
}

std::string JobRun::on(const std::vector<const fakedrive::FakeDrive*>& drives) {
    std::vector<std::shared_ptr<Device>> devices;
    for (const fakedrive::FakeDrive* drive : drives) devices.push_back(drive->device());
    return onAll(devices);
}

std::string JobRun::onDevice(const std::shared_ptr<Device>& device) {
    return onAll(std::vector<std::shared_ptr<Device>>{device});
}

std::string JobRun::onAll(const std::vector<std::shared_ptr<Device>>& devices) {
    job_.setInput(*request_);
    job_.setDevices(devices);
    const auto output = std::make_shared<xml::XmlObject>();
    const Status status = job_.run(output);
    std::string text = std::to_string(status.getCategory()) + "/" + std::to_string(status.getCode());
    if (!status.getMessage().empty() && failed(status)) text += " " + status.getMessage();
    for (const auto& object : output->objects) {
        sortAttributeLists(*object);
        if (job_.getName() != ostrel::interfaces::ostreli::JOB_VELKOSSD) removeIdentity(*object);
        std::string wire;
        object->appendXml(wire);
        text += "\n" + onLines(wire);
    }
    return text;
}

}  // namespace features::jobs
