#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "ostrel/interfaces/cli/cliframework/CommandSpec.h"
#include "ostrel/interfaces/cli/cliframework/ResultBase.h"

namespace cli::framework {

/// Renders commands: two or more as a list of usage lines, exactly one as a full page.
///
/// The text form wraps at the width of the terminal, in columns, asked for at each rendering; the indent of a line
/// comes on top of it. With no terminal (width 0), or with wrapping switched off, wrapped pieces go out without their
/// indent and line end and so run together.
class HelpResult : public ResultBase {
public:
    /// Gives the width in columns, 0 where there is no terminal.
    using WidthSource = std::size_t (*)();

    /// Asks the terminal on standard input.
    HelpResult();
    explicit HelpResult(WidthSource widthSource);

    std::string outputText() const override;
    std::string outputXml() const override;
    /// Always empty: help has no esx form.
    std::string outputEsxXml() const override;
    std::string outputJson() const override;
    std::string outputCSV() const override;

    void push_back(CommandSpec command);
    std::size_t getCount() const { return commands_.size(); }
    /// Kept for the caller: no form reads it, the number of commands alone decides.
    void setShowFull(bool showFull);
    bool getShowFull() const { return showFull_; }
    void setShouldWrap(bool shouldWrap);

private:
    std::string wrap(const std::string& text, std::size_t indent, std::size_t width) const;
    std::string listToString(const std::vector<CommandPart>& list, bool isProperty, std::size_t indent,
                             std::size_t width) const;
    std::string commandListText(std::size_t width) const;
    std::string commandPageText(const CommandSpec& command, std::size_t width) const;

    std::vector<CommandSpec> commands_;
    bool showFull_ = false;
    bool shouldWrap_ = true;
    WidthSource widthSource_;
};

}  // namespace cli::framework
