#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

#include "CLI/velkossd/FlowResult.h"
#include "ostrel/core/AttributeVocabulary.h"

namespace ostrel::core::xml {
class XmlObject;
}

namespace cli::velkossd {

/// The options, targets or properties of a parsed command: word to value, as typed.
using GivenParts = std::map<std::string, std::string>;

/// The value of a word, null when the word is not on the command line. A word without a value has an empty one.
const std::string* findGiven(const GivenParts& given, const std::string& word);
/// The same, where a word that is missing and one without a value are the same.
const std::string& valueOf(const GivenParts& given, std::string_view word);

// What a value may be, beside the tests of ostrel/core/Strings.h.
bool isTrueOrFalse(std::string_view value);  ///< as words, ignoring case: "0" and "1" are none
bool isIntegerOrHex(std::string_view value);
bool isNotEmpty(std::string_view value);

/// What a value must be before it goes out, and the error message for one that is not. The complaint is a printf
/// format; its first %s is the word, its second the value. Without a test every value passes.
struct ValueTest {
    bool (*accepts)(std::string_view) = nullptr;
    const char* complaint = nullptr;
    framework::ErrorCode errorCode = framework::ERRORCODE_INVALID_VALUE;
};

// The tests that several flows share.
inline constexpr ValueTest MUST_BE_TRUE_OR_FALSE{isTrueOrFalse, "Must specify true|false for the given property: %s"};
inline constexpr ValueTest MUST_HAVE_VALUE{isNotEmpty, "Must specify a value for the given property: %s"};
inline constexpr ValueTest MUST_BE_NAMESPACE_ID{
    isIntegerOrHex, "Invalid value for -namespace target. The value must be a valid namespace ID or 0xFFFFFFFF."};
inline constexpr char NOT_A_BOOLEAN[] = "Must specify a boolean for the given property: %s";

/// One argument of a job that the user may give: the attribute that carries it, what its value must be, and the word
/// on the command line where that is not the attribute's name.
struct ArgumentRule {
    ostrel::core::Attribute (*attribute)();
    ValueTest test = {};
    const char* word = nullptr;
};

/// Null when the value passes, otherwise the error that ends the flow.
FlowResult checkValue(const ValueTest& test, const std::string& word, const std::string& value);

/// Adds the arguments that were given to the request, in the order of the rules, each with its value as typed. The
/// first value that fails its test ends it.
FlowResult addArguments(ostrel::core::xml::XmlObject& request, const GivenParts& given, const ArgumentRule* rules,
                        std::size_t count);
template <std::size_t COUNT>
FlowResult addArguments(ostrel::core::xml::XmlObject& request, const GivenParts& given,
                        const ArgumentRule (&rules)[COUNT]) {
    return addArguments(request, given, rules, COUNT);
}

}  // namespace cli::velkossd
