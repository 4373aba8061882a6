#pragma once

#include <cstddef>
#include <cstring>

/// The place of a virtual operation in its class's table, from 0. The Itanium C++ ABI, which g++ and clang++ follow,
/// represents a pointer to a virtual member function on x86-64 as one more than the offset into the table. So the slot
/// can be read from the pointer, without an object and also where the operation is pure. The two entries of a virtual
/// destructor, whose address cannot be taken, show by the slots after them.
///
/// To pin the number of slots too, derive a class with one further virtual operation: it gets the next one.
template <typename Function>
std::size_t virtualSlot(Function function) {
    std::ptrdiff_t offset = 0;
    static_assert(sizeof function >= sizeof offset);
    std::memcpy(&offset, &function, sizeof offset);
    if (offset % 2 == 0) return static_cast<std::size_t>(-1);  // the address of an operation that is not virtual
    return static_cast<std::size_t>(offset - 1) / sizeof(void*);
}
