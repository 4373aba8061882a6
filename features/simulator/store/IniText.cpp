#include "features/simulator/store/IniText.h"

#include <algorithm>
#include <cerrno>

#include "ostrel/core/Strings.h"

namespace features::simulator {

using namespace ostrel::core;

namespace {

std::string withoutBlanks(const std::string& text) {
    constexpr char BLANKS[] = " \t\n\v\f\r";
    const size_t first = text.find_first_not_of(BLANKS);
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(BLANKS) - first + 1);
}

class Reader {
public:
    /// Null, or what is wrong with the line, which has no blanks around it.
    const char* read(const std::string& line) {
        if (line.empty() || line[0] == ';' || line[0] == '#') return nullptr;
        return line[0] == '[' ? readSection(line) : readKey(line);
    }

    std::vector<IniEntry> finish() {
        dropEmptySection();
        return std::move(entries_);
    }

private:
    const char* readSection(const std::string& line) {
        dropEmptySection();
        const size_t end = line.find(']');
        if (end == std::string::npos) return "unmatched '['";
        const std::string name = withoutBlanks(line.substr(1, end - 1));
        if (hasEntry(name)) return "duplicate section name";
        entries_.push_back({name, {}, {}});
        isInSection_ = true;
        return nullptr;
    }

    const char* readKey(const std::string& line) {
        const size_t equals = line.find('=');
        if (equals == std::string::npos) return "'=' character not found in line";
        if (equals == 0) return "key expected";
        const std::string name = withoutBlanks(line.substr(0, equals));
        const std::string value = withoutBlanks(line.substr(equals + 1));
        if (isInSection_ ? hasKey(name) : hasEntry(name)) return "duplicate key name";
        if (isInSection_) {
            entries_.back().keys.emplace_back(name, value);
        } else {
            entries_.push_back({name, value, {}});
        }
        return nullptr;
    }

    bool hasEntry(const std::string& name) const {
        return std::any_of(entries_.begin(), entries_.end(), [&](const IniEntry& each) { return each.name == name; });
    }

    bool hasKey(const std::string& name) const {
        const auto& keys = entries_.back().keys;
        return std::any_of(keys.begin(), keys.end(), [&](const auto& each) { return each.first == name; });
    }

    void dropEmptySection() {
        if (isInSection_ && entries_.back().keys.empty()) entries_.pop_back();
        isInSection_ = false;
    }

    std::vector<IniEntry> entries_;
    bool isInSection_ = false;  ///< the last entry is a section that lines are read into
};

}  // namespace

Result<std::vector<IniEntry>> readIni(const std::string& text) {
    Reader reader;
    size_t number = 0;
    for (const std::string& line : split(text, '\n')) {
        ++number;
        const char* const wrong = reader.read(withoutBlanks(line));
        if (wrong != nullptr) return Status(CATEGORY_OS, EINVAL, "Line " + std::to_string(number) + ": " + wrong + ".");
    }
    return reader.finish();
}

}  // namespace features::simulator
