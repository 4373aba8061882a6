#include "features/jobs/settings/ErrorInjectionList.h"

#include <boost/property_tree/detail/rapidxml.hpp>

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

#include "features/errors/Result.h"
#include "features/jobs/base/Arguments.h"
#include "features/jobs/support/InputFile.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/Features.h"
#include "features/nvme/structures/OcpFeatureData.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/Strings.h"
#include "ostrel/core/xml/XmlNesting.h"

namespace features::jobs {

using namespace ostrel::core;
namespace rapidxml = boost::property_tree::detail::rapidxml;
using Node = rapidxml::xml_node<char>;

namespace {

constexpr uint64_t MAX_FILE_BYTES = 64 << 10;
constexpr size_t MAX_LEVELS = 8;
constexpr size_t ENTRY_BYTES = sizeof(nvme::OcpErrorInjectionEntry);

/// The three parts of an entry, in the order of the list; the names are those of the file.
constexpr const char* PARTS[] = {"type", "repeat", "reads"};
using EntryText = std::array<std::string, std::size(PARTS)>;

constexpr struct {
    const char* word;
    bool enabled;
    bool once;
} REPEATS[] = {{"", true, true}, {"once", true, true}, {"always", true, false}, {"off", false, false}};

Status misconfigured(const std::string& details) {
    return withDetails(statuses::errorInjectionMisconfigured(), details);
}

std::optional<uint16_t> readWord(const std::string& text, uint64_t least) {
    uint64_t number = 0;
    if (!readNumber(text, Digits::DECIMAL, number) || number < least || number > UINT16_MAX) return std::nullopt;
    return static_cast<uint16_t>(number);
}

std::optional<uint16_t> readType(const std::string& text) {
    const std::optional<uint16_t> number = readWord(text, 1);
    return number ? number : nvme::findErrorInjectionType(text);
}

Result<ErrorInjection> readEntry(const EntryText& text) {
    const auto& [type, repeat, reads] = text;
    const std::optional<uint16_t> typeNumber = readType(type);
    if (!typeNumber)
        return misconfigured("The type of an error injection is a number from 1 to 65535 or a name, not '" + type +
                             "'.");
    const auto* found = std::find_if(std::begin(REPEATS), std::end(REPEATS),
                                     [&, &word = repeat](const auto& row) { return equals(row.word, word, true); });
    if (found == std::end(REPEATS))
        return misconfigured("An error is injected 'once', 'always', or not ('off'), but not '" + repeat + "'.");
    const std::optional<uint16_t> readsNumber = reads.empty() ? uint16_t{0} : readWord(reads, 0);
    if (!readsNumber)
        return misconfigured("The reads before an error injection are a number from 0 to 65535, not '" + reads + "'.");
    return ErrorInjection{*typeNumber, found->enabled, found->once, *readsNumber};
}

Result<std::vector<ErrorInjection>> readEntries(const std::vector<EntryText>& texts) {
    if (texts.size() > MAX_ERROR_INJECTIONS) return statuses::tooManyErrorInjections();
    std::vector<ErrorInjection> entries;
    entries.reserve(texts.size());
    for (const EntryText& text : texts) {
        TRY(const ErrorInjection entry, readEntry(text));
        entries.push_back(entry);
    }
    return entries;
}

/// False for an attribute that an entry does not have.
bool takeAttributes(const Node& element, EntryText& text) {
    for (const auto* attribute = element.first_attribute(); attribute != nullptr;
         attribute = attribute->next_attribute()) {
        const std::string_view name(attribute->name(), attribute->name_size());
        const auto* part = std::find(std::begin(PARTS), std::end(PARTS), name);
        if (part == std::end(PARTS)) return false;
        text[static_cast<size_t>(part - std::begin(PARTS))].assign(attribute->value(), attribute->value_size());
    }
    return true;
}

/// Elements and text.
bool hasContents(const Node& element) {
    for (const Node* child = element.first_node(); child != nullptr; child = child->next_sibling()) {
        if (child->type() == rapidxml::node_element || child->value_size() != 0) return true;
    }
    return false;
}

Status unknownElement(const std::string& name) {
    return misconfigured("The file has an element <" + name + "> that is not <ErrorInjection type= repeat= reads=/>.");
}

Result<EntryText> readElement(const Node& element) {
    EntryText text;
    const std::string name(element.name(), element.name_size());
    if (name != "ErrorInjection" || !takeAttributes(element, text) || hasContents(element)) return unknownElement(name);
    return text;
}

std::vector<const Node*> elementsOf(const Node& parent) {
    std::vector<const Node*> elements;
    for (const Node* child = parent.first_node(); child != nullptr; child = child->next_sibling()) {
        if (child->type() == rapidxml::node_element) elements.push_back(child);
    }
    return elements;
}

Result<std::vector<EntryText>> readDocument(const Node& document) {
    const std::vector<const Node*> roots = elementsOf(document);
    if (roots.size() != 1 || std::string_view(roots[0]->name(), roots[0]->name_size()) != "ErrorInjections")
        return misconfigured("The file has no element <ErrorInjections> as its root.");
    if (roots[0]->first_attribute() != nullptr) return unknownElement("<xmlattr>");
    std::vector<EntryText> texts;
    for (const Node* const element : elementsOf(*roots[0])) {
        TRY(const EntryText text, readElement(*element));
        texts.push_back(text);
    }
    return texts;
}

}  // namespace

Result<std::vector<ErrorInjection>> readErrorInjections(const std::string& list) {
    std::vector<EntryText> texts;
    if (!equals(list, "none", true)) {
        for (const std::string& item : split(list, '~')) {
            const auto parts = split(item, ':');
            if (parts.size() > std::size(PARTS))
                return misconfigured("An error injection is TYPE[:once|always|off[:READS]], not '" + item + "'.");
            EntryText text;
            std::copy(parts.begin(), parts.end(), text.begin());
            texts.push_back(text);
        }
    }
    return readEntries(texts);
}

Result<std::vector<ErrorInjection>> readErrorInjectionFile(const std::string& path) {
    TRY(std::string text, readInputFile(path, MAX_FILE_BYTES));
    // The reader recurses for each level; the list itself has three.
    if (ostrel::core::xml::nestsDeeperThan(text, MAX_LEVELS)) {
        return misconfigured("'" + path + "' nests its elements too deep.");
    }
    rapidxml::xml_document<char> document;
    try {
        document.parse<rapidxml::parse_normalize_whitespace | rapidxml::parse_trim_whitespace>(text.data());
    } catch (const rapidxml::parse_error& error) {
        const auto line = std::count(text.data(), error.where<char>(), '\n') + 1;
        return misconfigured("'" + path + "' is not XML: " + error.what() + " in line " + std::to_string(line) + ".");
    }
    TRY(const std::vector<EntryText> texts, readDocument(document));
    return readEntries(texts);
}

Payload errorInjectionData(const std::vector<ErrorInjection>& entries) {
    Payload data(ERROR_INJECTION_DATA_BYTES);
    if (data.getSize() == 0) return data;
    std::memset(data.getData(), 0, data.getSize());
    uint8_t* at = data.getData();
    for (const ErrorInjection& entry : entries) {
        at[offsetof(nvme::OcpErrorInjectionEntry, flags)] =
            static_cast<uint8_t>((entry.enabled ? nvme::OcpErrorInjectionEntry::ENABLED : 0) |
                                 (entry.once ? nvme::OcpErrorInjectionEntry::SINGLE_INSTANCE : 0));
        nvme::putLe16(at + offsetof(nvme::OcpErrorInjectionEntry, type), entry.type);
        nvme::putLe16(at + offsetof(nvme::OcpErrorInjectionEntry, reads), entry.reads);
        at += ENTRY_BYTES;
    }
    return data;
}

}  // namespace features::jobs
