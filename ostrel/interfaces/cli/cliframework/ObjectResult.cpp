#include "ostrel/interfaces/cli/cliframework/ObjectResult.h"

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

constexpr char TEXT_INDENT[] = "  ";
constexpr char UNNAMED_TAG[] = "nimbrelTool";

/// Keeps the first `length` characters, and all of them when there are no more than that (std::string::npos too).
void keepFirst(std::string& text, std::size_t length) {
    CLI_TRACE();
    if (length < text.size()) text.resize(length);
}

void cutLastTab(std::string& tab) {
    CLI_TRACE();
    keepFirst(tab, tab.rfind('\t'));
}

/// Does not undo the append of TEXT_INDENT: it takes one character more, and at position 0 the subtraction wraps around
/// and nothing is cut. The indent of siblings therefore wanders; scripts read this output, so it stays.
void cutTextIndent(std::string& tab) {
    CLI_TRACE();
    keepFirst(tab, tab.rfind(TEXT_INDENT) - 1);
}

std::string toXmlName(std::string name) {
    CLI_TRACE();
    std::replace(name.begin(), name.end(), ' ', '_');
    std::replace(name.begin(), name.end(), ':', '-');
    std::replace(name.begin(), name.end(), '/', '-');
    return name;
}

std::string toXmlPropertyName(const std::string& key) {
    CLI_TRACE();
    std::string name = toXmlName(key);
    const auto isParenthesis = [](char c) { return c == '(' || c == ')'; };
    name.erase(std::remove_if(name.begin(), name.end(), isParenthesis), name.end());
    return name;
}

/// A boot loader that a drive does not report is left out of the text form, and of that form alone.
bool isHiddenInText(const std::string& key, const std::string& value) {
    CLI_TRACE();
    return key == "Bootloader" && value == "Property not found";
}

}  // namespace

std::string ObjectResult::s_tab;
bool ObjectResult::s_indentChildren = false;

ObjectResult::ObjectResult() {
    CLI_TRACE();
}

ObjectResult::ObjectResult(std::string root) : root_(std::move(root)) {
    CLI_TRACE();
}

ObjectResult::~ObjectResult() {
    CLI_TRACE();
    objects_.clear();  // before the values, which go with the member
}

void ObjectResult::setRoot(std::string root) {
    CLI_TRACE();
    root_ = std::move(root);
}

void ObjectResult::setTab(bool indentChildren) {
    CLI_TRACE();
    s_indentChildren = indentChildren;
}

void ObjectResult::insert(std::string root, std::unique_ptr<ObjectResult> child) {
    CLI_TRACE();
    child->setRoot(std::move(root));
    objects_.push_back(std::move(child));
}

void ObjectResult::insert(std::string key, std::string value) {
    CLI_TRACE();
    insert(std::move(key), std::make_unique<SimpleResult>(std::move(value)));
}

void ObjectResult::insert(std::string key, std::unique_ptr<ResultBase> value) {
    CLI_TRACE();
    properties_.push_back({std::move(key), std::move(value)});
}

bool ObjectResult::contains(const std::string& key) const {
    CLI_TRACE();
    return std::any_of(properties_.begin(), properties_.end(),
                       [&key](const Property& property) { return stringsIEqual(property.key, key); });
}

std::string ObjectResult::outputText() const {
    CLI_TRACE();
    std::string out;
    if (!root_.empty()) append(out, {"\n", s_tab, "- ", root_, " -\n"});
    if (!properties_.empty()) out += '\n';
    for (const Property& property : properties_) {
        const std::string value = property.value->output();
        if (isHiddenInText(property.key, value)) continue;
        append(out, {s_tab, property.key, " : ", value.empty() ? std::string_view("Value not found") : value, "\n"});
    }
    for (const auto& child : objects_) {
        const bool indent = s_indentChildren && !root_.empty();
        if (indent) s_tab += TEXT_INDENT;
        out += child->outputText();
        if (indent) cutTextIndent(s_tab);
    }
    if (properties_.empty() && objects_.empty()) append(out, {"\n", s_tab, NO_RESULTS_TEXT, "\n"});
    return out;
}

std::string ObjectResult::outputXml() const {
    CLI_TRACE();
    std::string out;
    if (root_.empty()) out += "<?xml version=\"1.0\" standalone=\"yes\" ?>\n";
    const std::string tag = toXmlName(root_.empty() ? UNNAMED_TAG : root_);
    append(out, {s_tab, "<", tag, ">"});
    for (const Property& property : properties_) {
        const std::string name = toXmlPropertyName(property.key);
        append(out, {"\n", s_tab, "\t<", name, ">"});
        append(out, {property.value->output(), "</", name, ">"});
    }
    if (!properties_.empty()) out += '\n';
    if (!objects_.empty()) {
        s_tab += '\t';
        out += '\n';  // the second one when there are properties: an empty line parts the two
        for (const auto& child : objects_) out += child->outputXml();
        cutLastTab(s_tab);
    } else if (properties_.empty()) {
        out += '\n';
    }
    append(out, {s_tab, "</", tag, ">\n"});
    return out;
}

std::string ObjectResult::outputEsxXml() const {
    CLI_TRACE();
    return "";
}

std::string ObjectResult::outputJson() const {
    CLI_TRACE();
    std::string out;
    if (s_tab.empty() && objects_.empty() && properties_.empty()) return out;
    append(out, {s_tab, "{\n"});
    outputPropertyJson(out);
    if (!objects_.empty()) {
        s_tab += '\t';
        for (const auto& child : objects_) {
            append(out, {s_tab, "\"", jsonEscape(child->root_), "\":\n"});
            out += child->outputJson();
            out += child == objects_.back() ? "\n" : ",\n";
        }
        cutLastTab(s_tab);
    }
    append(out, {s_tab, "}"});
    return out;
}

/// The keys are not escaped, other than the names of the children.
void ObjectResult::outputPropertyJson(std::string& out) const {
    CLI_TRACE();
    for (const Property& property : properties_) {
        append(out, {"\t", s_tab, "\"", property.key, "\":"});
        appendJsonValue(out, property.value->output());
        const bool isLast = &property == &properties_.back() && objects_.empty();
        out += isLast ? "\n" : ",\n";
    }
}

std::string ObjectResult::outputCSV() const {
    CLI_TRACE();
    std::string out;
    for (const Property& property : properties_) append(out, {property.key, ",", property.value->output(), ","});
    for (const auto& child : objects_) {
        append(out, {child->root_, ",\n"});
        out += child->outputCSV();
        out += ",\n";
    }
    return out;
}

}  // namespace cli::framework
