#pragma once

#include <cstddef>
#include <cstring>

/// The place of a virtual operation in its class's table, from 0. The Itanium C++ ABI, which g++ and clang++ follow,
/// represents a pointer to a virtual member function as the offset into the table and an adjustment of the object. One
/// of the two says by an odd number that the operation is virtual: the offset, which is one more then; on ARM the
/// adjustment, which is twice as much there. So the slot can be read from the pointer, without an object and also where
/// the operation is pure. The two entries of a virtual destructor, whose address cannot be taken, show by the slots
/// after them.
///
/// To pin the number of slots too, derive a class with one further virtual operation: it gets the next one.
template <typename Function>
std::size_t virtualSlot(Function function) {
    struct {
        std::ptrdiff_t offset;
        std::ptrdiff_t adjustment;
    } pointer;
    static_assert(sizeof function == sizeof pointer);
    std::memcpy(&pointer, &function, sizeof pointer);
#if defined(__arm__) || defined(__aarch64__)
    const std::ptrdiff_t flags = pointer.adjustment;
    const std::ptrdiff_t offset = pointer.offset;
#else
    const std::ptrdiff_t flags = pointer.offset;
    const std::ptrdiff_t offset = pointer.offset - 1;
#endif
    if (flags % 2 == 0) return static_cast<std::size_t>(-1);  // the address of an operation that is not virtual
    return static_cast<std::size_t>(offset) / sizeof(void*);
}
