#include "simdrive/CommandLine.h"

#include <algorithm>

namespace simdrive {

CommandLine CommandLine::parse(const std::vector<std::string>& words, const std::vector<std::string>& known) {
    const auto isKnown = [&](const std::string& option) {
        return std::find(known.begin(), known.end(), option) != known.end();
    };
    CommandLine line;
    for (size_t i = 0; i < words.size(); ++i) {
        if (words[i].compare(0, 2, "--") != 0) {
            line.names.push_back(words[i]);
            continue;
        }
        const size_t sign = words[i].find('=');
        const std::string name = words[i].substr(2, sign == std::string::npos ? sign : sign - 2);
        const bool isSwitch = isKnown(name + "!");
        const bool takesNext = !isSwitch && sign == std::string::npos;
        if (name.find('!') != std::string::npos || (!isSwitch && !isKnown(name))) {
            line.error = "There is no option --" + name + ".";
        } else if (line.has(name)) {
            line.error = "--" + name + " is given twice.";
        } else if (isSwitch && sign != std::string::npos) {
            line.error = "--" + name + " takes no value.";
        } else if (takesNext && i + 1 == words.size()) {
            line.error = "--" + name + " needs a value.";
        }
        if (!line.error.empty()) return line;
        line.options[name] = isSwitch ? "" : takesNext ? words[++i] : words[i].substr(sign + 1);
    }
    return line;
}

}  // namespace simdrive
