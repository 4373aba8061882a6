#pragma once

#include <memory>
#include <string>

#include "CLI/velkossd/FlowResult.h"

namespace ostrel::core {
class Status;
namespace xml {
class XmlElement;
class XmlObject;
}  // namespace xml
}  // namespace ostrel::core

namespace cli::velkossd {

/// What the storage feature asks of the rest of the process: the way to the feature library, and the configuration. The
/// tool gives it the real ones, a test answers itself.
class FeatureServices {
public:
    virtual ~FeatureServices() = default;

    /// Why the feature library could not be loaded; null when it could, and after the first call.
    virtual FlowResult takeLoadError() = 0;

    /// Has the library stop logging when the configuration turns the log off.
    virtual void disableLoggerIfOff() = 0;

    /// The configured folder of further firmware modules; empty when there is none.
    virtual std::string getAdditionalModuleDirectory() = 0;

    /// Has the library carry out a request and waits for it. Null on success: then `response` is the tree of the
    /// answer, never null, and `status` the answer's status, which stays as it was when the answer has none.
    /// Throws std::runtime_error for an answer that is no message.
    virtual FlowResult sendRequest(const ostrel::core::xml::XmlObject& request,
                                   std::unique_ptr<ostrel::core::xml::XmlElement>& response,
                                   ostrel::core::Status& status) = 0;
};

}  // namespace cli::velkossd
