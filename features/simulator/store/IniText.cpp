#include "features/simulator/store/IniText.h"

#include <algorithm>
#include <cerrno>
#include <string_view>

namespace features::simulator {

using namespace ostrel::core;

namespace {

// Views throughout: most lines of a description are comments, and every command on a simulated drive reads it.
std::string_view withoutBlanks(std::string_view text) {
    constexpr char BLANKS[] = " \t\n\v\f\r";
    const size_t first = text.find_first_not_of(BLANKS);
    return first == text.npos ? std::string_view() : text.substr(first, text.find_last_not_of(BLANKS) - first + 1);
}

class Reader {
public:
    /// Null, or what is wrong with the line, which has no blanks around it.
    const char* read(std::string_view line) {
        if (line.empty() || line[0] == ';' || line[0] == '#') return nullptr;
        return line[0] == '[' ? readSection(line) : readKey(line);
    }

    std::vector<IniEntry> finish() {
        dropEmptySection();
        return std::move(entries_);
    }

private:
    const char* readSection(std::string_view line) {
        dropEmptySection();
        const size_t end = line.find(']');
        if (end == line.npos) return "unmatched '['";
        const std::string_view name = withoutBlanks(line.substr(1, end - 1));
        if (hasEntry(name)) return "duplicate section name";
        entries_.push_back({std::string(name), {}, {}});
        isInSection_ = true;
        return nullptr;
    }

    const char* readKey(std::string_view line) {
        const size_t equals = line.find('=');
        if (equals == line.npos) return "'=' character not found in line";
        if (equals == 0) return "key expected";
        const std::string_view name = withoutBlanks(line.substr(0, equals));
        const std::string_view value = withoutBlanks(line.substr(equals + 1));
        if (isInSection_ ? hasKey(name) : hasEntry(name)) return "duplicate key name";
        if (isInSection_) {
            entries_.back().keys.emplace_back(name, value);
        } else {
            entries_.push_back({std::string(name), std::string(value), {}});
        }
        return nullptr;
    }

    bool hasEntry(std::string_view name) const {
        return std::any_of(entries_.begin(), entries_.end(), [&](const IniEntry& each) { return each.name == name; });
    }

    bool hasKey(std::string_view name) const {
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
    std::string_view rest = text;
    for (size_t number = 1; !rest.empty(); ++number) {
        const size_t end = std::min(rest.find('\n'), rest.size());
        const char* const wrong = reader.read(withoutBlanks(rest.substr(0, end)));
        if (wrong != nullptr) return Status(CATEGORY_OS, EINVAL, "Line " + std::to_string(number) + ": " + wrong + ".");
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return reader.finish();
}

}  // namespace features::simulator
