#pragma once

#include <string>

#include "ostrel/interfaces/cli/cliframework/ResultBase.h"

namespace cli::framework {

/// One message. As the result of a command it says what succeeded; inside an ObjectResult or a PropertyListResult it
/// is a property's value. Characters that XML reserves are written unescaped.
class SimpleResult : public ResultBase {
public:
    explicit SimpleResult(std::string message);

    std::string outputText() const override;
    std::string outputXml() const override;
    std::string outputEsxXml() const override;
    std::string outputJson() const override;
    std::string outputCSV() const override;

protected:
    const std::string& message() const { return message_; }

private:
    std::string message_;
};

}  // namespace cli::framework
