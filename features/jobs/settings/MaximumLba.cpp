#include "features/jobs/settings/MaximumLba.h"

#include <algorithm>

#include "features/jobs/base/Arguments.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/Units.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/Strings.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

constexpr uint64_t ALL_PERCENT = 100;

Status tooLarge(const std::string& driveName, uint64_t native, const Status& meaning) {
    return withDetails(meaning, "The native maximum LBA of drive " + driveName + " is " + std::to_string(native) + ".");
}

uint64_t lbaOfPercent(uint64_t percent, uint64_t native) {
    if (percent == ALL_PERCENT) return native;
    const uint64_t blocks = native + 1;  // in two steps: the product may not fit
    return std::max<uint64_t>(blocks / ALL_PERCENT * percent + blocks % ALL_PERCENT * percent / ALL_PERCENT, 2) - 1;
}

Result<uint64_t> lbaOfGigabytes(uint64_t gigabytes, uint64_t native, uint64_t blockBytes,
                                const std::string& driveName) {
    if (gigabytes > UINT64_MAX / nvme::GIGABYTE) return tooLarge(driveName, native, statuses::lbaResizeTooLarge());
    const uint64_t lba = gigabytes * nvme::GIGABYTE / blockBytes - 1;  // more than one block of any size
    if (lba > native) return tooLarge(driveName, native, statuses::lbaResizeTooLarge());
    return lba;
}

}  // namespace

Result<MaximumLba> readMaximumLba(const std::string& text) {
    std::string digits = toLower(text);
    if (digits == "native") return MaximumLba{MaximumLba::Unit::NATIVE, 0};
    MaximumLba wanted;
    if (takeSuffix(digits, "gb"))
        wanted.unit = MaximumLba::Unit::GIGABYTES;
    else if (takeSuffix(digits, "%"))
        wanted.unit = MaximumLba::Unit::PERCENT;
    const std::string said = ", not '" + text + "'.";
    if (!isInteger(digits)) {
        return withDetails(statuses::invalidMaxAddressParameter(),
                           "It must be a block's address, gigabytes like 200GB, 1% to 100%, or native" + said);
    }
    if (!readNumber(digits, Digits::DECIMAL, wanted.number) || wanted.number == 0)
        return withDetails(statuses::invalidMaxAddressValue(), "It cannot be '" + text + "'.");
    if (wanted.unit == MaximumLba::Unit::PERCENT && wanted.number > ALL_PERCENT)
        return withDetails(statuses::invalidMaxAddressValue(), "It must be 1% to 100%" + said);
    return wanted;
}

Result<uint64_t> addressOf(const MaximumLba& wanted, uint64_t native, uint64_t blockBytes,
                           const std::string& driveName) {
    switch (wanted.unit) {
        case MaximumLba::Unit::GIGABYTES:
            return lbaOfGigabytes(wanted.number, native, blockBytes, driveName);
        case MaximumLba::Unit::PERCENT:
            return lbaOfPercent(wanted.number, native);
        case MaximumLba::Unit::NATIVE:
            return native;
        case MaximumLba::Unit::LBA:
            break;
    }
    if (wanted.number > native) return tooLarge(driveName, native, statuses::invalidMaxAddressValue());
    return wanted.number;
}

}  // namespace features::jobs
