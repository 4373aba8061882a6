#include "ostrel/interfaces/cli/cliframework/ObjectListResult.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "ostrel/interfaces/cli/cliframework/Constants.h"
#include "ostrel/interfaces/cli/cliframework/ResultConstants.h"
#include "ostrel/interfaces/cli/cliframework/TextAppend.h"
#include "ostrel/interfaces/cli/cliframework/Trace.h"

namespace cli::framework {
namespace {

using Objects = ObjectListResult::Objects;

/// The width in bytes of each column of the first object: its key or the longest text under that key in any object.
std::vector<std::uint32_t> columnWidths(const Objects& objects) {
    CLI_TRACE();
    std::vector<std::uint32_t> widths;
    const PropertyListResult& first = objects.front().list;
    for (auto column = first.propertiesBegin(); column != first.propertiesEnd(); ++column) {
        std::size_t width = column->key.size();
        for (const auto& object : objects) width = std::max(width, object.list[column->key].size());
        widths.push_back(static_cast<std::uint32_t>(width));
    }
    return widths;
}

void appendCell(std::string& out, const std::string& text, std::size_t width) {
    CLI_TRACE();
    out += text;
    if (text.size() < width) out.append(width - text.size(), ' ');
    out += ' ';
}

/// Cells go by position though the widths go by key; a cell beyond the last column is not padded.
void appendRow(std::string& out, const PropertyListResult& list, const std::vector<std::uint32_t>& widths) {
    CLI_TRACE();
    std::size_t column = 0;
    for (auto property = list.propertiesBegin(); property != list.propertiesEnd(); ++property, ++column)
        appendCell(out, property->value->output(), column < widths.size() ? widths[column] : 0);
    out += '\n';
}

}  // namespace

ObjectListResult::ObjectListResult() {
    CLI_TRACE();
}

std::string ObjectListResult::outputText() const {
    CLI_TRACE();
    if (objects_.empty()) return NO_RESULTS_TEXT;
    std::string out;
    for (const Object& object : objects_) append(out, {"- ", object.key, " -\n", object.list.output(), "\n"});
    return out;
}

std::string ObjectListResult::outputXml() const {
    CLI_TRACE();
    std::string out = concat({"<", root_, LIST_SUFFIX, objects_.empty() ? ">" : ">\n"});
    for (const Object& object : objects_) out += object.list.outputXml();
    append(out, {"</", root_, LIST_SUFFIX, ">\n"});
    return out;
}

std::string ObjectListResult::outputEsxXml() const {
    CLI_TRACE();
    if (objects_.size() == 1) return objects_.front().list.outputEsxXml();
    const std::string structureOpen = formatString(ESX_NAMED_STRUCTURE_FORMAT, root_.c_str());
    std::string out = concat({ESX_HEAD, ESX_STRUCTURE_LIST_OPEN});
    for (const Object& object : objects_) {
        out += structureOpen;
        for (auto property = object.list.propertiesBegin(); property != object.list.propertiesEnd(); ++property) {
            append(out, {formatString(ESX_NAMED_FIELD_FORMAT, property->key.c_str()), ESX_STRING_OPEN,
                         property->value->output(), ESX_STRING_CLOSE, ESX_FIELD_CLOSE});
        }
        out += ESX_STRUCTURE_CLOSE;
    }
    append(out, {ESX_LIST_CLOSE, ESX_TAIL});
    return out;
}

std::string ObjectListResult::outputTextTable() const {
    CLI_TRACE();
    if (objects_.empty()) return NO_RESULTS_TEXT;
    const std::vector<std::uint32_t> widths = columnWidths(objects_);
    std::string out;
    const PropertyListResult& first = objects_.front().list;
    for (std::size_t column = 0; column < widths.size(); ++column)
        appendCell(out, (first.propertiesBegin() + static_cast<std::ptrdiff_t>(column))->key, widths[column]);
    out += '\n';
    for (const Object& object : objects_) appendRow(out, object.list, widths);
    return out;
}

std::string ObjectListResult::outputJson() const {
    CLI_TRACE();
    std::string out = "{\n";
    for (const Object& object : objects_) {
        append(out, {"\t\"", object.key, "\":\n", object.list.outputJson()});
        out += &object == &objects_.back() ? "\n" : ",\n";
    }
    out += "}\n";
    return out;
}

std::string ObjectListResult::outputCSV() const {
    CLI_TRACE();
    std::string out;
    for (const Object& object : objects_) append(out, {object.key, ",\n", object.list.outputCSV(), ",\n"});
    return out;
}

void ObjectListResult::insert(std::string key, PropertyListResult& list) {
    CLI_TRACE();
    list.setName(key);
    objects_.push_back({std::move(key), list});
}

void ObjectListResult::setRoot(std::string root) {
    CLI_TRACE();
    root_ = std::move(root);
}

}  // namespace cli::framework
