#pragma once

#include <algorithm>

namespace features::nvme {

/// The first row of a table that passes the test; null when there is none.
template <class Row, class IsWanted>
const Row* findRow(const Row* begin, const Row* end, IsWanted isWanted) {
    const Row* row = std::find_if(begin, end, isWanted);
    return row == end ? nullptr : row;
}

}  // namespace features::nvme
