#pragma once

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include <chrono>

namespace ostrel::core {

/// The system's time in UTC, to the microsecond. Not Boost's universal_time(): that converts a calendar time, for which
/// the C library reads the file of the time zone.
inline boost::posix_time::ptime utcNow() {
    using std::chrono::microseconds;
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    const auto count = std::chrono::duration_cast<microseconds>(sinceEpoch).count();
    return boost::posix_time::ptime(boost::gregorian::date(1970, 1, 1)) + boost::posix_time::microseconds(count);
}

}  // namespace ostrel::core
