#pragma once

#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <initializer_list>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "CLI/FeatureLibraryExchange.h"
#include "CLI/VelkoSSDFeature.h"
#include "CLI/velkossd/FeatureServices.h"
#include "ostrel/core/Status.h"
#include "ostrel/core/XmlConverter.h"
#include "ostrel/interfaces/cli/cliframework/CommandSpec.h"
#include "ostrel/interfaces/cli/cliframework/ErrorResult.h"
#include "ostrel/interfaces/cli/cliframework/ParsedCommand.h"
#include "tests/unit/velkossd/IndentReset.h"

namespace cli::velkossd {

/// Replaces the feature library: keeps the requests as they would go over the wire and answers with prepared
/// responses, an empty one when there are no more.
class FakeServices : public FeatureServices {
public:
    FlowResult takeLoadError() override { return std::move(loadError); }
    void disableLoggerIfOff() override { ++loggerQuestions; }
    std::string getAdditionalModuleDirectory() override { return moduleDirectory; }

    FlowResult sendRequest(const ostrel::core::xml::XmlObject& request,
                           std::unique_ptr<ostrel::core::xml::XmlElement>& response,
                           ostrel::core::Status& status) override {
        requests.push_back(request.toXmlString());
        std::string text = "<Object/>";
        if (!responses.empty()) {
            text = responses.front();
            responses.pop_front();
        }
        response = ostrel::core::XmlConverter::toXml(text);
        if (response == nullptr) throw std::runtime_error("no response");
        return extractStatus(*response, status);
    }

    FlowResult loadError;
    std::string moduleDirectory;
    std::deque<std::string> responses;
    std::vector<std::string> requests;
    int loggerQuestions = 0;
};

/// The process's standard streams, for as long as it lives: what is typed, and what is written.
class StandardStreams {
public:
    explicit StandardStreams(const std::string& typed = "") : in_(typed) { std::cin.clear(); }
    ~StandardStreams() {
        std::cin.rdbuf(oldIn_);
        std::cout.rdbuf(oldOut_);
        std::clog.rdbuf(oldLog_);
        std::cin.clear();
    }
    StandardStreams(const StandardStreams&) = delete;
    StandardStreams& operator=(const StandardStreams&) = delete;

    std::string output() const { return out_.str(); }
    std::string questions() const { return log_.str(); }

private:
    std::istringstream in_;
    std::ostringstream out_;
    std::ostringstream log_;
    std::streambuf* oldIn_ = std::cin.rdbuf(in_.rdbuf());
    std::streambuf* oldOut_ = std::cout.rdbuf(out_.rdbuf());
    std::streambuf* oldLog_ = std::clog.rdbuf(log_.rdbuf());
};

// What a request is made of.

inline std::string xmlProperty(const std::string& name, const std::string& displayName, const std::string& type,
                               const std::string& value, const std::string& size = "0") {
    return "<Property category=\"attribute\" displayName=\"" + displayName + "\" name=\"" + name + "\" size=\"" + size +
           "\" type=\"" + type + "\" value=\"" + value + "\"/>";
}

inline std::string xmlDevice(const std::string& key, const std::string& value) {
    return "<List name=\"Devices\"><Object name=\"Device\"><Property category=\"attribute\" name=\"" + key +
           "\" type=\"string\" value=\"" + value + "\"/></Object></List>";
}

inline std::string xmlRequested(const std::string& properties) {
    return "<Object name=\"Properties\">" + properties + "</Object>";
}

inline const std::string SCAN = xmlProperty("Scan", "Scan", "boolean", "true");
inline const std::string MODULES = xmlProperty("AdditionalModuleDirs", "Additional Module Directories",
                                               "vectorOfStrings", "/opt/velko/nimbrel/FirmwareModules");
inline const std::string DRIVE_0 = xmlDevice("Index", "0");

inline std::string xmlRequest(const std::string& job, const std::string& type, const std::string& content) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?><Object name=\"" + job + "\" type=\"" + type + "\">" + content +
           "</Object>";
}

/// A method of drive 0 with these arguments.
inline std::string xmlMethod(const std::string& job, const std::string& arguments) {
    return xmlRequest(job, "Method", SCAN + arguments + MODULES + DRIVE_0);
}

// What a user can type.

using Parts = std::map<std::string, std::string>;

inline framework::ParsedCommand makeCommand(const std::string& verb, const Parts& targets, const Parts& properties = {},
                                            const Parts& options = {}) {
    framework::ParsedCommand command;
    command.verb = verb;
    command.options = options;
    command.targets = targets;
    command.properties = properties;
    return command;
}

/// A property that the user may give, as it is typed and as it goes out.
struct Field {
    const char* key;
    const char* displayName;
    const char* type;
    const char* value;
};

/// The storage feature with a library that records.
class FlowTest : public IndentReset {
protected:
    std::unique_ptr<framework::ResultBase> run(int id, const framework::ParsedCommand& command) {
        framework::CommandSpec spec;
        spec.id = id;
        return feature_.run(spec, command);
    }

    /// The command sends exactly this.
    void expectRequest(int id, const framework::ParsedCommand& command, const std::string& request) {
        services_.requests.clear();
        const auto result = run(id, command);
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(services_.requests, std::vector<std::string>{request}) << result->outputText();
    }

    /// The command ends with this text and exit status, and sends nothing.
    void expectRefusal(int id, const framework::ParsedCommand& command, int errorCode, const std::string& text) {
        services_.requests.clear();
        const auto result = run(id, command);
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(result->outputText(), text);
        EXPECT_EQ(result->getErrorCode(), errorCode);
        EXPECT_EQ(services_.requests, std::vector<std::string>{});
    }

    /// The answer to a command.
    void expectResult(int id, const framework::ParsedCommand& command, int errorCode, const std::string& text) {
        const auto result = run(id, command);
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(result->outputText(), text);
        EXPECT_EQ(result->getErrorCode(), errorCode);
    }

    /// The command with each of the fields alone, and with all of them: `request` makes the whole request of theirs.
    void expectFields(int id, framework::ParsedCommand command, const std::vector<Field>& fields,
                      const std::function<std::string(const std::string&)>& request) {
        const Parts others = command.properties;
        Parts all = others;
        std::string allArguments;
        for (const Field& field : fields) {
            SCOPED_TRACE(field.key);
            const std::string argument = xmlProperty(field.key, field.displayName, field.type, field.value);
            command.properties = others;
            command.properties[field.key] = field.value;
            expectRequest(id, command, request(argument));
            all[field.key] = field.value;
            allArguments += argument;
        }
        command.properties = all;
        expectRequest(id, command, request(allArguments));
    }

    FakeServices services_;
    VelkoSSDFeature feature_{services_};
};

/// A bad value on the command line.
inline constexpr int BAD_VALUE = 8;
/// A property that is missing or does not suit the operation.
inline constexpr int BAD_PROPERTY = 7;

}  // namespace cli::velkossd
