#pragma once

#include <string>
#include <utility>

namespace cli::framework {

/// One yes-or-no question to the user.
class Prompt {
public:
    Prompt(std::string warning, std::string question, bool confirmation)
        : warning_(std::move(warning)), question_(std::move(question)), confirmation_(confirmation) {}

    std::string getWarning() const { return warning_; }
    std::string getQuestion() const { return question_; }
    bool getConfirmation() const { return confirmation_; }

private:
    std::string warning_;   ///< The line above the question.
    std::string question_;  ///< Without the answer hint.
    bool confirmation_;     ///< Set to true by all callers; asking does not depend on it.
};

}  // namespace cli::framework
