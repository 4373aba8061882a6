#include "CLI/velkossd/FlowContext.h"

#include <utility>

#include "CLI/velkossd/JobArguments.h"
#include "CLI/velkossd/JobRendering.h"
#include "CLI/velkossd/PartRow.h"
#include "ostrel/core/SignalWatch.h"
#include "ostrel/core/Strings.h"
#include "ostrel/core/xml/XmlElement.h"
#include "ostrel/interfaces/cli/cliframework/ObjectResult.h"
#include "ostrel/interfaces/cli/cliframework/ParsedCommand.h"
#include "ostrel/interfaces/ostreli/interface/Job.h"

namespace cli::velkossd {

namespace attributes = ostrel::core::attributes;
using ostrel::core::xml::XmlElement;
using ostrel::core::xml::XmlObject;

namespace {

constexpr char FIRMWARE_MODULES[] = "/opt/velko/nimbrel/FirmwareModules";

}  // namespace

FlowContext::FlowContext(FeatureServices& services, AskUser askUser)
    : services_(services),
      askUser_(std::move(askUser)),
      hiddenProperties_{attributes::device::vendorUniqueIdentifyPayload().getName()},
      moduleDirectories_{FIRMWARE_MODULES} {}

FlowResult FlowContext::getDeviceTarget(const framework::ParsedCommand& parsedCommand, std::string& value,
                                        const PartRow& part) const {
    value.clear();
    const std::string* given = findGiven(parsedCommand.targets, "-velkossd");
    if (given == nullptr) {
        if (part.presence == PART_OPTIONAL) return nullptr;
        return makeError(framework::ERRORCODE_INVALID_VALUE, "-velkossd target not found.");
    }
    if (given->empty() && part.value.required)
        return makeError(framework::ERRORCODE_INVALID_VALUE, "Must specify an velko ssd index.");
    value = *given;
    return nullptr;
}

FlowResult FlowContext::runJob(XmlObject& job, std::unique_ptr<XmlElement>& response, ostrel::core::Status& status) {
    // Each job adds the configured directory to the list, so a flow's second job sends it twice. The library has come
    // to see it so.
    const std::string configured = services_.getAdditionalModuleDirectory();
    if (!configured.empty()) moduleDirectories_.push_back(configured);
    ostrel::interfaces::ostreli::Job::addProperty(job, attributes::feature::additionalModuleDirs(),
                                                  ostrel::core::join(moduleDirectories_, "~"));
    const ostrel::core::SignalWatch watch(interruption_);
    return services_.sendRequest(job, response, status);
}

FlowResult FlowContext::runAndRender(XmlObject& job, std::unique_ptr<framework::ObjectResult>& result) {
    std::unique_ptr<XmlElement> response;
    ostrel::core::Status status;
    if (auto error = runJob(job, response, status)) return error;
    result = render(hiddenProperties_, *response);
    return nullptr;
}

FlowResult FlowContext::runAndRender(XmlObject& job) {
    std::unique_ptr<framework::ObjectResult> result;
    if (auto error = runAndRender(job, result)) return error;
    return result;
}

}  // namespace cli::velkossd
