#include "ostrel/interfaces/cli/cliframework/PropertyListResult.h"

#include <algorithm>
#include <utility>

#include "ostrel/interfaces/cli/cliframework/Constants.h"
#include "ostrel/interfaces/cli/cliframework/JsonText.h"
#include "ostrel/interfaces/cli/cliframework/ResultConstants.h"
#include "ostrel/interfaces/cli/cliframework/SimpleResult.h"
#include "ostrel/interfaces/cli/cliframework/StringHelpers.h"
#include "ostrel/interfaces/cli/cliframework/TextAppend.h"
#include "ostrel/interfaces/cli/cliframework/Trace.h"

namespace cli::framework {
namespace {

/// Takes a value over for the rest of the process, see the ownership note of the class.
const ResultBase* keepForever(std::unique_ptr<ResultBase> value) {
    CLI_TRACE();
    static std::vector<std::unique_ptr<const ResultBase>> store;
    store.push_back(std::move(value));
    return store.back().get();
}

/// Only blanks are replaced: colons, slashes and parentheses stay, unlike in the tags of an ObjectResult.
std::string toTag(std::string name) {
    CLI_TRACE();
    std::replace(name.begin(), name.end(), ' ', '_');
    return name;
}

}  // namespace

PropertyListResult::PropertyListResult() {
    CLI_TRACE();
}

std::string PropertyListResult::outputText() const {
    CLI_TRACE();
    if (properties_.empty()) return concat({NO_RESULTS_TEXT, "\n"});
    std::string out;
    for (const Property& property : properties_) append(out, {property.key, ": ", property.value->output(), "\n"});
    return out;
}

std::string PropertyListResult::outputXml() const {
    CLI_TRACE();
    const std::string tag = toTag(name_);
    std::string out = concat({"<", tag, properties_.empty() ? ">" : ">\n"});
    for (const Property& property : properties_) {
        const std::string key = toTag(property.key);
        append(out, {"\t<", key, ">", property.value->output(), "</", key, ">\n"});
    }
    append(out, {"</", tag, ">\n"});
    return out;
}

std::string PropertyListResult::outputEsxXml() const {
    CLI_TRACE();
    std::string out = concat({ESX_HEAD, ESX_STRUCTURE_LIST_OPEN});
    for (const Property& property : properties_) {
        append(out, {ESX_KEY_VALUE_OPEN, ESX_KEY_FIELD_OPEN, ESX_STRING_OPEN, property.key, ESX_STRING_CLOSE,
                     ESX_FIELD_CLOSE, ESX_VALUE_FIELD_OPEN, ESX_STRING_OPEN, property.value->output(), ESX_STRING_CLOSE,
                     ESX_FIELD_CLOSE, ESX_STRUCTURE_CLOSE});
    }
    append(out, {ESX_LIST_CLOSE, ESX_TAIL});
    return out;
}

std::string PropertyListResult::outputJson() const {
    CLI_TRACE();
    std::string out = "\t{\n";
    for (const Property& property : properties_) {
        append(out, {"\t\t\"", property.key, "\":"});
        appendJsonValue(out, property.value->output());
        out += &property == &properties_.back() ? "\n" : ",\n";
    }
    out += "\t}";
    return out;
}

std::string PropertyListResult::outputCSV() const {
    CLI_TRACE();
    std::string out;
    for (const Property& property : properties_) append(out, {property.key, ",", property.value->output(), ","});
    return out;
}

void PropertyListResult::insert(std::string key, std::string value) {
    CLI_TRACE();
    insert(std::move(key), std::make_unique<SimpleResult>(std::move(value)));
}

void PropertyListResult::insert(std::string key, std::unique_ptr<ResultBase> value) {
    CLI_TRACE();
    properties_.push_back({std::move(key), keepForever(std::move(value))});
}

void PropertyListResult::setName(std::string name) {
    CLI_TRACE();
    name_ = std::move(name);
}

std::string PropertyListResult::operator[](const std::string& key) const {
    CLI_TRACE();
    const auto property = find(key);
    return property == properties_.end() ? std::string() : property->value->output();
}

bool PropertyListResult::contains(const std::string& key) const {
    CLI_TRACE();
    return find(key) != properties_.end();
}

PropertyListResult::Properties::const_iterator PropertyListResult::find(const std::string& key) const {
    CLI_TRACE();
    return std::find_if(properties_.begin(), properties_.end(),
                        [&key](const Property& property) { return stringsIEqual(property.key, key); });
}

}  // namespace cli::framework
