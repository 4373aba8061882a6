#include "CLI/velkossd/JobArguments.h"

#include "ostrel/core/Strings.h"
#include "ostrel/interfaces/cli/cliframework/StringHelpers.h"
#include "ostrel/interfaces/ostreli/interface/Job.h"

namespace cli::velkossd {

using framework::stringsIEqual;
using ostrel::core::xml::XmlObject;
using ostrel::interfaces::ostreli::Job;

const std::string* findGiven(const GivenParts& given, const std::string& word) {
    const auto part = given.find(word);
    return part == given.end() ? nullptr : &part->second;
}

const std::string& valueOf(const GivenParts& given, std::string_view word) {
    static const std::string NONE;
    const std::string* value = findGiven(given, std::string(word));
    return value == nullptr ? NONE : *value;
}

bool isTrueOrFalse(std::string_view value) {
    return stringsIEqual(value, "true") || stringsIEqual(value, "false");
}

bool isIntegerOrHex(std::string_view value) {
    return ostrel::core::isInteger(value) || ostrel::core::isHex(value);
}

bool isNotEmpty(std::string_view value) {
    return !value.empty();
}

FlowResult checkValue(const ValueTest& test, const std::string& word, const std::string& value) {
    if (test.accepts == nullptr || test.accepts(value)) return nullptr;
    return makeError(test.errorCode, framework::formatString(test.complaint, word.c_str(), value.c_str()));
}

FlowResult addArguments(XmlObject& request, const GivenParts& given, const ArgumentRule* rules, std::size_t count) {
    for (const ArgumentRule* rule = rules; rule != rules + count; ++rule) {
        const ostrel::core::Attribute attribute = rule->attribute();
        const std::string word = rule->word == nullptr ? attribute.getName() : rule->word;
        const std::string* value = findGiven(given, word);
        if (value == nullptr) continue;
        if (auto error = checkValue(rule->test, word, *value)) return error;
        Job::addProperty(request, attribute, *value);
    }
    return nullptr;
}

}  // namespace cli::velkossd
