#include "features/jobs/namespaces/NamespaceAmount.h"

#include <limits>

#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/Units.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/Strings.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

using Unit = NamespaceAmount::Unit;

constexpr uint64_t ALL_PERCENT = 100;

struct UnitRow {
    const char* suffix;
    Unit unit;
    uint64_t factor;
    uint64_t most;  ///< before the factor
};
constexpr uint64_t UNLIMITED = std::numeric_limits<uint64_t>::max();
// clang-format off
constexpr UnitRow UNITS[] = {
    {"gb",  Unit::BYTES,   nvme::GIGABYTE, UNLIMITED / nvme::GIGABYTE},
    {"gib", Unit::BYTES,   nvme::GIBIBYTE, UNLIMITED / nvme::GIBIBYTE},
    {"%",   Unit::PERCENT, 1,              ALL_PERCENT},
    {"",    Unit::BLOCKS,  1,              UNLIMITED},
};
// clang-format on

std::optional<NamespaceAmount> parse(const std::string& text) {
    std::string digits = toLower(text);
    for (const UnitRow& row : UNITS) {
        if (!takeSuffix(digits, row.suffix)) continue;
        if (row.unit != Unit::BLOCKS) (void)takeSuffix(digits, " ");
        uint64_t number = 0;
        if (!readNumber(digits, Digits::DECIMAL, number) || number == 0 || number > row.most) return std::nullopt;
        return NamespaceAmount{row.unit, number * row.factor};
    }
    return std::nullopt;
}

}  // namespace

uint64_t NamespaceAmount::blocks(uint32_t blockBytes, uint64_t unallocatedBytes, uint64_t step) const {
    if (unit == Unit::BLOCKS) return number;
    // In two steps: the product may not fit.
    const uint64_t share =
        unallocatedBytes / ALL_PERCENT * number + unallocatedBytes % ALL_PERCENT * number / ALL_PERCENT;
    return (unit == Unit::PERCENT ? share : number) / blockBytes / step * step;
}

Result<std::optional<NamespaceAmount>> readAmount(const Arguments& arguments, const Attribute& attribute) {
    const std::string text = arguments.text(attribute.getName());
    if (text.empty()) return std::nullopt;
    if (const auto amount = parse(text)) return amount;
    return withDetails(statuses::invalidCapacity(),
                       attribute.getName() +
                           " must be a number of blocks from 1 on, an amount like 100GB or 100GiB, "
                           "or 1% to 100% of the unallocated capacity, not '" +
                           text + "'.");
}

}  // namespace features::jobs
