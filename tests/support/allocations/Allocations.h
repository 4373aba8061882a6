#pragma once

#include <cstddef>

/// Global operator new, in programs that link this: it counts, and it fails on request.
namespace test {

/// All bytes asked for since the program started.
std::size_t allocatedBytes();

/// From now on every operator new throws std::bad_alloc (or gives null where it must not throw), until false.
void failAllocations(bool fail);

/// The same after `count` more that succeed.
void failAllocationsAfter(std::size_t count);

}  // namespace test
