#include "features/jobs/health/SelfTestRequest.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "features/jobs/support/StatusDetails.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/Strings.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

constexpr SelfTestRow TESTS[] = {{"short", 1, true}, {"extended", 2, true}, {"conveyance", 3, false}};

constexpr const char* MODE_OFFLINE = "offline";
constexpr const char* MODE_CAPTIVE = "captive";

}  // namespace

Result<SelfTestRequest> readSelfTestRequest(const Arguments& arguments, bool hasSata) {
    SelfTestRequest request{std::begin(TESTS), false};
    const std::string type = arguments.text(attributes::feature::testType().getName());
    if (!type.empty()) {
        request.test = std::find_if(std::begin(TESTS), std::end(TESTS), [&](const SelfTestRow& row) {
            return (row.isOnNvme || hasSata) && equals(row.word, type, true);
        });
        if (request.test == std::end(TESTS)) {
            return withDetails(
                statuses::invalidSelfTestParameters(),
                hasSata ? "A SATA drive has the tests 'short', 'extended' and 'conveyance', but not '" + type + "'."
                        : "An NVMe drive has the tests 'short' and 'extended', but not '" + type + "'.");
        }
    }
    const std::string mode = arguments.text(attributes::feature::selfTestMode().getName());
    request.isCaptive = equals(mode, MODE_CAPTIVE, true);
    if (request.isCaptive || mode.empty() || equals(mode, MODE_OFFLINE, true)) return request;
    return withDetails(statuses::invalidSelfTestParameters(),
                       "A test runs 'captive' or 'offline', but not '" + mode + "'.");
}

}  // namespace features::jobs
