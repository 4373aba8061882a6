#include "tests/unit/features/nvme/Layout.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace features::nvme {

Layout::Layout(const std::string& name) {
    std::ifstream file(std::string(NVME_TEST_DATA) + "/layouts/" + name + ".layout");
    if (!file) throw std::runtime_error("no layout " + name);
    for (std::string line; std::getline(file, line);) {
        try {
            take(line);
        } catch (const std::exception& error) {
            throw std::runtime_error(name + ": " + line + ": " + error.what());
        }
    }
}

void Layout::take(const std::string& line) {
    std::istringstream words(line);
    std::string word;
    if (!(words >> word) || word[0] == '#') return;
    if (word == "size") {
        size_t size = 0;
        words >> size;
        bytes_.resize(size);
        return;
    }
    if (word == "dword0") {
        words >> std::hex >> dword0_;
        return;
    }
    size_t offset = std::stoul(word);
    while (words >> std::ws && words.peek() != '#' && words.peek() != EOF) {
        if (words.peek() == '"') {
            words.get();
            std::string text;
            std::getline(words, text, '"');
            size_t padded = text.size();
            if (words >> std::ws && words.peek() != '#' && words.peek() != EOF) words >> padded;
            text.resize(padded, ' ');
            for (const char c : text) put(offset++, static_cast<uint8_t>(c));
        } else {
            words >> word;
            put(offset++, static_cast<uint8_t>(std::stoul(word, nullptr, 16)));
        }
    }
}

void Layout::put(size_t offset, uint8_t byte) {
    bytes_.at(offset) = byte;
}

}  // namespace features::nvme
