#pragma once

#include <cstdint>
#include <string>

#include "ostrel/interfaces/cli/cliframework/SimpleResult.h"

namespace cli::framework {

/// A failure: a message, the exit status, and a prefix that names the thing concerned (mostly empty). Every form but
/// the esx one is built from the text form of this class; none of them escapes anything.
class ErrorResult : public SimpleResult {
public:
    /// Exit status 1 and no message.
    explicit ErrorResult(std::string prefix);
    ErrorResult(std::int32_t code, std::string message, std::string prefix);

    /// Besides, hands the error to the framework log at each call.
    std::string outputText() const override;
    std::string outputXml() const override;
    /// No XML but one line of text, and the only form that asks a derived class for its text.
    std::string outputEsxXml() const override;
    std::string outputJson() const override;
    std::string outputCSV() const override;

    /// The word for the exit status: "Out of Memory" for 2, "Syntax Error" for 201, "Error" for all others.
    std::string getErrorString() const;

private:
    std::string prefix_;
};

}  // namespace cli::framework
