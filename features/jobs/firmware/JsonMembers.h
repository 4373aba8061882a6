#pragma once

#include <string>
#include <utility>
#include <vector>

namespace features::jobs {

/// The value of a key in JSON, without its type: a number, true, false or null counts as the text that it is written
/// with.
struct JsonValue {
    enum class Kind {
        TEXT,    ///< `texts` has it alone
        LIST,    ///< of texts
        NESTED,  ///< an object, or a list with lists or objects; `texts` has no meaning
    };
    Kind kind = Kind::TEXT;
    std::vector<std::string> texts;
};

/// The keys of an object with their values, in the order of the text. A key that is given twice is here twice.
using JsonMembers = std::vector<std::pair<std::string, JsonValue>>;

/// Reads the object that a JSON text consists of; of any other value `members` stays empty. Throws nothing but
/// std::bad_alloc. Returns an empty text, or where the text is not JSON: "line 2, column 11", counted in bytes.
std::string readJsonMembers(const std::string& text, JsonMembers& members);

}  // namespace features::jobs
