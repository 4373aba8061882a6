#include "tests/support/allocations/Allocations.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> bytes{0};
std::atomic<std::size_t> left{SIZE_MAX};  // until they fail

void* allocate(std::size_t size) noexcept {
    if (left == 0) return nullptr;
    if (left != SIZE_MAX) --left;
    bytes += size;
    return std::malloc(size != 0 ? size : 1);
}

void* allocateOrThrow(std::size_t size) {
    void* const memory = allocate(size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

}  // namespace

namespace test {

std::size_t allocatedBytes() {
    return bytes;
}

void failAllocations(bool fail) {
    left = fail ? 0 : SIZE_MAX;
}

void failAllocationsAfter(std::size_t count) {
    left = count;
}

}  // namespace test

// The whole family, so that none of it stays with a sanitizer's own.
void* operator new(std::size_t size) {
    return allocateOrThrow(size);
}
void* operator new[](std::size_t size) {
    return allocateOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
