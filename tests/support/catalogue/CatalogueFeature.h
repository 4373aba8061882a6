#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tests/support/catalogue/EchoFeature.h"

namespace test {

/// A feature for tests of the command line: commands cut like those of a drive tool (shared targets, optional and
/// required values, commands that differ in a required property only).
class CatalogueFeature : public EchoFeature {
public:
    // Commands that answer in their own way; all others echo.
    static constexpr int32_t ID_OBJECT = 0;    ///< an ObjectResult
    static constexpr int32_t ID_FAILURE = 28;  ///< an ErrorResult with code 3
    static constexpr int32_t ID_SILENT = 70;   ///< a null result
    static constexpr int32_t ID_THROWS = 71;   ///< std::runtime_error
    static constexpr int32_t ID_HUNGRY = 72;   ///< std::bad_alloc
    static constexpr int32_t ID_VALUES = 73;   ///< the single values of -values, joined with "|"

    std::unique_ptr<cli::framework::ResultBase> run(const cli::framework::CommandSpec& commandSpec,
                                                    const cli::framework::ParsedCommand& parsedCommand) override;
    void getPaths(std::vector<cli::framework::CommandSpec>& commands) override;
};

}  // namespace test
