// The binding to the feature library in a process of its own, started as the tool starts it. Each argument is done in
// turn, and what came of it goes to standard output, one fact a line:
//
//     loadError             takes the stored failure
//     send=NAME             sends a request of that name
//     disableLoggerIfOff
//     log=TEXT              writes a line to the debug log
#include <algorithm>
#include <iostream>
#include <string>

#include "CLI/FeatureLibraryBinding.h"
#include "CLI/StartUp.h"
#include "ostrel/core/Logging.h"
#include "ostrel/core/Status.h"
#include "ostrel/core/XmlConverter.h"
#include "ostrel/core/xml/XmlObject.h"

namespace {

using cli::FeatureLibraryBinding;
using cli::framework::ResultBase;

void print(const std::string& what, const std::unique_ptr<ResultBase>& result) {
    if (result == nullptr)
        std::cout << what << ": null\n";
    else
        std::cout << what << ": " << result->getErrorCode() << " " << result->output() << "\n";
}

void send(const std::string& name) {
    ostrel::core::xml::XmlObject request(name, "a request", "a<b");
    request.addProperty("Key", "Value");
    std::string text = "(none)";
    ostrel::core::Status status(7, 8, "(none)");
    try {
        print("send", FeatureLibraryBinding::getInstance().sendRequest(request, text, status));
    } catch (const std::exception& exception) {
        std::cout << "send threw: " << exception.what() << "\n";
    }
    std::cout << "status: " << status.getCategory() << "/" << status.getCode() << " " << status.getMessage() << "\n"
              << "text: " << text << "\n";
    const auto tree = ostrel::core::XmlConverter::toXml(text);
    std::cout << "tree: " << (tree != nullptr ? tree->toXmlString() : "(none)") << "\n";
}

bool obey(const std::string& argument) {
    const std::string key = argument.substr(0, argument.find('='));
    const std::string value = argument.substr(std::min(key.size() + 1, argument.size()));
    if (key == "loadError") {
        print("loadError", FeatureLibraryBinding::getInstance().takeLoadError());
    } else if (key == "send") {
        send(value);
    } else if (key == "disableLoggerIfOff") {
        FeatureLibraryBinding::getInstance().disableLoggerIfOff();
    } else if (key == "log") {
        ostrel::core::logMessage(ostrel::core::LOGSEVERITY_INFO, value);
    } else {
        return false;
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    ostrel::core::initLogging();
    cli::runStartUpRoutine();
    for (int i = 1; i < argc; ++i)
        if (!obey(argv[i])) return 99;
    return 0;
}
