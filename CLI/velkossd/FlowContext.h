#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "CLI/velkossd/FeatureServices.h"
#include "CLI/velkossd/FlowResult.h"

namespace cli::framework {
class ObjectResult;
struct ParsedCommand;
class Prompt;
}  // namespace cli::framework

namespace cli::velkossd {

struct PartRow;

/// What every flow works with: the user, the drive that was named, and the library. One for the life of the process: it
/// remembers the module directories that requests have named.
///
/// Ownership: the services stay the caller's.
/// Threads:   the main thread only.
class FlowContext {
public:
    /// Asks the user a question; null when the user agreed, otherwise the result to end the command with.
    using AskUser = std::function<FlowResult(const framework::Prompt& prompt)>;

    FlowContext(FeatureServices& services, AskUser askUser);

    FeatureServices& getServices() const { return services_; }
    /// Names of properties that no result shows.
    const std::vector<std::string>& getHiddenProperties() const { return hiddenProperties_; }
    FlowResult promptUser(const framework::Prompt& prompt) const { return askUser_(prompt); }

    /// What is written when a signal ends the process while a job runs, from now on; see interruptionWords().
    void setInterruption(std::string words) { interruption_ = std::move(words); }

    /// The drive that -velkossd names, as typed; empty for all drives. `part` is the form of -velkossd that the flow
    /// asks for, which is not always that of the command line: whether the target must be there, and have a value.
    FlowResult getDeviceTarget(const framework::ParsedCommand& parsedCommand, std::string& value,
                               const PartRow& part) const;

    /// Sends a job, which gets the module directories as its last plain property. See FeatureServices::sendRequest().
    FlowResult runJob(ostrel::core::xml::XmlObject& job, std::unique_ptr<ostrel::core::xml::XmlElement>& response,
                      ostrel::core::Status& status);
    /// The same, with the answer rendered: null on success, and never a null `result` then.
    FlowResult runAndRender(ostrel::core::xml::XmlObject& job, std::unique_ptr<framework::ObjectResult>& result);
    /// The same, where the answer is the result of the command.
    FlowResult runAndRender(ostrel::core::xml::XmlObject& job);

private:
    FeatureServices& services_;
    AskUser askUser_;
    std::vector<std::string> hiddenProperties_;
    std::vector<std::string> moduleDirectories_;
    std::string interruption_;
};

}  // namespace cli::velkossd
