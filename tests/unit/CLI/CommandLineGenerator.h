#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "ostrel/interfaces/cli/cliframework/CandidateCommand.h"

namespace test {

/// Makes command lines out of the grammar of some commands: right ones, and ones with up to four mistakes. The same
/// seed makes the same lines on every machine.
class CommandLineGenerator {
public:
    CommandLineGenerator(uint64_t seed, cli::framework::CandidateCommands commands);

    std::vector<std::string> next();

private:
    using Line = std::vector<std::string>;

    /// Below the bound; the standard distributions differ from library to library.
    size_t below(size_t bound) { return static_cast<size_t>(random_() % bound); }
    bool oneIn(size_t count) { return below(count) == 0; }
    template <typename T>
    const T& anyOf(const std::vector<T>& list) {
        return list[below(list.size())];
    }

    Line rightLine();
    void addParts(Line& line, const std::vector<cli::framework::CommandPart>& parts, bool areProperties);
    std::string valueFor(const cli::framework::CommandPart& part);
    void makeAMistake(Line& line);
    void changeCase(std::string& argument);
    std::string bytes(size_t length);
    Line hugeLine(Line line);

    std::mt19937_64 random_;
    size_t hugeLines_ = 0;  ///< they take turns in their kinds
    cli::framework::CandidateCommands commands_;
    std::vector<std::string> words_;  ///< every verb, option, target and property
    std::vector<std::string> verbs_;
};

}  // namespace test
