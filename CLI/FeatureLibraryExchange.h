#pragma once

#include <memory>
#include <string>

#include "ostrel/core/xml/XmlElement.h"
#include "ostrel/interfaces/ostreli/interface/FeatureLibrary.h"

namespace cli::framework {
class ResultBase;
}
namespace ostrel::core {
class Status;
}
namespace ostrel::core::xml {
class XmlObject;
}

namespace cli {

/// The functions of a feature library that serve while a command runs; null where the library lacks one.
struct FeatureLibraryFunctions {
    SendXMLMessageFunction sendXmlMessage = nullptr;
    ReceiveXMLMessageFunction receiveXmlMessage = nullptr;
    EnableLoggerFunction enableLogger = nullptr;
};

/// Sends one request and waits for its response, however long that takes.
///
/// Null when all is well; otherwise the result that ends the command: the library is not loaded, it throws, it hands
/// out no response, or the response reports a failure. `status` is that of the response, and keeps its value when there
/// is none.
///
/// Throws std::runtime_error for a response that is no XML.
std::unique_ptr<framework::ResultBase> exchange(const FeatureLibraryFunctions& library,
                                                const ostrel::core::xml::XmlObject& request, std::string& responseText,
                                                ostrel::core::Status& status);
/// The same for a caller that needs the tree and not the text: a large response is parsed once, and each form of it
/// lives only until the next one is there.
std::unique_ptr<framework::ResultBase> exchange(const FeatureLibraryFunctions& library,
                                                const ostrel::core::xml::XmlObject& request,
                                                std::unique_ptr<ostrel::core::xml::XmlElement>& response,
                                                ostrel::core::Status& status);

/// The status that a response, or one output object within it, reports. Null for success, which is also the answer
/// where there is no status object, or more than one: `status` is untouched then. A message that accompanies a success
/// stays in `status`.
std::unique_ptr<framework::ResultBase> extractStatus(const ostrel::core::xml::XmlElement& response,
                                                     ostrel::core::Status& status);

}  // namespace cli
