#include <boost/date_time/posix_time/time_formatters.hpp>
#include <gtest/gtest.h>

#include <ctime>
#include <string>

#include "ostrel/core/UtcTime.h"

using namespace ostrel::core;

namespace {

/// By the C library, in the form of Boost's to_iso_extended_string().
std::string byTheCLibrary() {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    ::gmtime_r(&now, &parts);
    char text[sizeof "2026-01-01T00:00:00"];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
    return text;
}

}  // namespace

// The second may end between the readings.
TEST(UtcTime, IsThatOfTheCLibrary) {
    const std::string before = byTheCLibrary();
    const std::string now = boost::posix_time::to_iso_extended_string(utcNow()).substr(0, before.size());
    EXPECT_LE(before, now);
    EXPECT_LE(now, byTheCLibrary());
}
