#include "features/jobs/erase/ErasureRecord.h"

#include <cstdio>
#include <cstring>

namespace features::jobs {

namespace {

std::string quoted(const std::string& text) {
    constexpr char SPECIAL[] = "\"\\/\b\f\n\r\t";
    constexpr char LETTERS[] = "\"\\/bfnrt";
    std::string out = "\"";
    for (const char c : text) {
        const char* const special = c == 0 ? nullptr : std::strchr(SPECIAL, c);
        if (special != nullptr) {
            out += {'\\', LETTERS[special - SPECIAL]};
        } else if (static_cast<unsigned char>(c) < 0x20) {
            char escape[8] = {};
            (void)std::snprintf(escape, sizeof escape, "\\u%04X", static_cast<unsigned>(c));
            out += escape;
        } else {
            out += c;
        }
    }
    return out + '"';
}

std::string jsonValue(const ErasureRecord::Fact& fact) {
    if (fact.value.empty()) return "null";
    return fact.isNumber ? fact.value : quoted(fact.value);
}

/// `"key": value`, with commas between.
std::string jsonMembers(const std::vector<ErasureRecord::Fact>& facts, const std::string& separator) {
    std::string out;
    for (const ErasureRecord::Fact& fact : facts)
        out += (out.empty() ? "" : separator) + quoted(fact.key) + ": " + jsonValue(fact);
    return out;
}

std::string jsonList(const std::vector<ErasureRecord::Item>& list) {
    std::string out;
    for (const ErasureRecord::Item& item : list)
        out += (out.empty() ? "\n      {" : ",\n      {") + jsonMembers(item.facts, ", ") + "}";
    return "[" + out + "\n    ]";
}

std::string jsonSection(const ErasureRecord::Section& section) {
    if (section.facts.empty()) return "{}";
    std::string out = "{\n    " + jsonMembers(section.facts, ",\n    ");
    if (!section.list.empty()) out += ",\n    " + quoted(section.listKey) + ": " + jsonList(section.list);
    return out + "\n  }";
}

}  // namespace

std::string ErasureRecord::json() const {
    std::string out;
    for (const Section& section : sections_)
        out += (out.empty() ? "{\n  " : ",\n  ") + quoted(section.key) + ": " + jsonSection(section);
    return out + "\n}\n";
}

std::string ErasureRecord::text() const {
    std::string out = "Record of an erase\n";
    for (const Section& section : sections_) {
        out += "\n" + section.label + "\n";
        for (const Fact& fact : section.facts)
            out += "  " + fact.label + ": " + (fact.value.empty() ? "-" : fact.value) + "\n";
        for (const Item& item : section.list) out += "  " + item.label + ": " + item.value + "\n";
    }
    return out;
}

}  // namespace features::jobs
