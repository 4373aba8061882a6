#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "CLI/Outcome.h"
#include "ostrel/interfaces/cli/cliframework/Framework.h"
#include "ostrel/interfaces/cli/cliframework/ResultBase.h"
#include "tests/support/catalogue/CatalogueFeature.h"

namespace {

using cli::framework::Framework;

/// An argument a line.
std::vector<std::string> argumentsIn(const std::string& input) {
    std::vector<std::string> arguments;
    std::istringstream lines(input);
    // A NUL ends an argument of a real command line too.
    for (std::string line; std::getline(lines, line);) arguments.emplace_back(line.c_str());
    return arguments;
}

void require(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "%s\n", what);
    std::abort();
}

}  // namespace

/// Any line ends in the same words twice, with one line end after them, and no feature sees what its grammar forbids.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static test::CatalogueFeature catalogue;
    static const bool registered = Framework::getInstance().registerFeature("Catalogue", &catalogue);
    require(registered, "the catalogue could not be registered");

    const std::vector<std::string> arguments = argumentsIn(std::string(reinterpret_cast<const char*>(data), size));
    const auto run = [&] { return cli::outcomeOf([&] { return Framework::getInstance().execute(arguments); }); };
    const cli::Outcome outcome = run();
    const cli::Outcome again = run();
    require(outcome.exitStatus == again.exitStatus && outcome.output == again.output, "two runs differ");
    require(outcome.output.empty() ? outcome.exitStatus == 0 : outcome.output.back() == '\n', "a line end is missing");
    require(catalogue.violation().empty(), catalogue.violation().c_str());
    return 0;
}
