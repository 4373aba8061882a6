#include "ostrel/core/xml/XmlNesting.h"

#include <array>
#include <cstdint>

#include "ostrel/core/ScopeTrace.h"

namespace ostrel::core::xml {

namespace {

// The character classes of the reader.
enum CharacterClass : uint8_t {
    CHARACTER_BLANK = 1,
    CHARACTER_ENDS_TAG_NAME = 2,
    CHARACTER_ENDS_KEY = 4,
};

using ClassTable = std::array<uint8_t, 256>;

constexpr void addClass(ClassTable& table, std::string_view characters, CharacterClass characterClass) {
    for (const char c : characters) table[static_cast<unsigned char>(c)] |= characterClass;
}

constexpr ClassTable makeClassTable() {
    ClassTable table{};
    addClass(table, " \n\r\t", CHARACTER_BLANK);
    addClass(table, " \n\r\t/>?", CHARACTER_ENDS_TAG_NAME);  // '<' and quotes may be in a tag's name
    addClass(table, " \n\r\t/<>=?!", CHARACTER_ENDS_KEY);
    return table;
}

constexpr ClassTable CLASSES = makeClassTable();

/// Walks a text tag by tag, by the same rules as the reader: a "/>" within a value, a comment or a CDATA section must
/// not pass for the end of an element, or a hostile text would nest deeper than it seems to.
class Scanner {
public:
    explicit Scanner(std::string_view text) : text_(text.substr(0, text.find('\0'))) {}  // where the reader stops too

    bool nestsDeeperThan(std::size_t limit) {
        OSTREL_TRACE();
        while (skipTo("<")) {
            if (!readMarkup()) return false;  // malformed: the reader comes no further either
            if (depth_ + (emptyElement_ ? 1 : 0) > limit) return true;
        }
        return false;
    }

private:
    // All of these return false where the reader finds the text malformed.

    // After a '<'.
    bool readMarkup() {
        OSTREL_TRACE();
        emptyElement_ = false;
        if (startsWith("/")) return readEndTag();
        if (startsWith("?")) return skipTo("?>", 1);  // "<?>" does not end itself
        if (startsWith("!--")) return skipTo("-->", 3);
        if (startsWith("![CDATA[")) return skipTo("]]>", 8);
        if (startsWith("!DOCTYPE") && is(CHARACTER_BLANK, position_ + 8)) return skipDocumentType();
        if (startsWith("!")) return skipTo(">");
        return readStartTag();
    }

    bool readEndTag() {
        OSTREL_TRACE();
        if (depth_ == 0) return false;
        ++position_;
        skipUntil(CHARACTER_ENDS_TAG_NAME);  // the reader does not compare the names
        skipBlanks();
        --depth_;
        return skip('>');
    }

    bool readStartTag() {
        OSTREL_TRACE();
        if (!skipUntil(CHARACTER_ENDS_TAG_NAME)) return false;
        skipBlanks();
        while (skipUntil(CHARACTER_ENDS_KEY))
            if (!readAssignment()) return false;
        emptyElement_ = skip('/');
        if (!emptyElement_) ++depth_;
        return skip('>');
    }

    // '=' and a value in quotes of either kind.
    bool readAssignment() {
        OSTREL_TRACE();
        skipBlanks();
        if (!skip('=')) return false;
        skipBlanks();
        if (!startsWith("\"") && !startsWith("'")) return false;
        const std::string_view quote = text_.substr(position_, 1);
        if (!skipTo(quote, 1)) return false;
        skipBlanks();
        return true;
    }

    // Up to the '>' that is in no brackets.
    bool skipDocumentType() {
        OSTREL_TRACE();
        for (std::size_t brackets = 0; position_ < text_.size(); ++position_) {
            const char c = text_[position_];
            if (c == '[') ++brackets;
            if (c == ']' && brackets > 0) --brackets;
            if (c == '>' && brackets == 0) return skip('>');
        }
        return false;
    }

    // The steps below are taken many times a tag: a trace of each would bury all else in the debug log.

    // After the next `end` that begins `offset` characters from here or later.
    bool skipTo(std::string_view end, std::size_t offset = 0) {
        const std::size_t found = text_.find(end, position_ + offset);
        if (found == std::string_view::npos) return false;
        position_ = found + end.size();
        return true;
    }

    bool skip(char c) {
        if (position_ == text_.size() || text_[position_] != c) return false;
        ++position_;
        return true;
    }

    // Returns whether there was anything before a character of that class.
    bool skipUntil(CharacterClass end) {
        const std::size_t begin = position_;
        while (position_ < text_.size() && !is(end, position_)) ++position_;
        return position_ > begin;
    }

    void skipBlanks() {
        while (is(CHARACTER_BLANK, position_)) ++position_;
    }

    bool startsWith(std::string_view part) const { return text_.compare(position_, part.size(), part) == 0; }

    bool is(CharacterClass characterClass, std::size_t position) const {
        return position < text_.size() && (CLASSES[static_cast<unsigned char>(text_[position])] & characterClass) != 0;
    }

    std::string_view text_;
    std::size_t position_ = 0;
    std::size_t depth_ = 0;
    bool emptyElement_ = false;  // whether the last markup was one, which has no depth of its own
};

}  // namespace

bool nestsDeeperThan(std::string_view text, std::size_t limit) {
    OSTREL_TRACE();
    return Scanner(text).nestsDeeperThan(limit);
}

}  // namespace ostrel::core::xml
