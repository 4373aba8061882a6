#include "ostrel/core/Payload.h"

#include <malloc.h>

#include <cstdlib>
#include <limits>

#include "ostrel/core/Logging.h"
#include "ostrel/core/MemCopy.h"
#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/StatusCatalogue.h"

namespace ostrel::core {
namespace {

constexpr size_t ALIGNMENT_BYTES = 4096;  // what direct device I/O needs

}  // namespace

struct Payload::BufferImplementation {
    explicit BufferImplementation(uint64_t bytes) { allocate(bytes, ALIGNMENT_BYTES); }
    ~BufferImplementation() { std::free(data); }
    BufferImplementation(const BufferImplementation&) = delete;
    BufferImplementation& operator=(const BufferImplementation&) = delete;

    void allocate(uint64_t bytes, size_t alignment);

    uint8_t* data = nullptr;
    uint32_t size = 0;
};

void Payload::BufferImplementation::allocate(uint64_t bytes, size_t alignment) {
    OSTREL_TRACE();
    if (bytes <= std::numeric_limits<uint32_t>::max())
        data = static_cast<uint8_t*>(memalign(alignment, static_cast<size_t>(bytes)));
    if (data == nullptr) {
        logMessage(LOGSEVERITY_FATAL, "Unable to allocate data with a size of ", bytes, " and alignment of ",
                   alignment);
        return;
    }
    size = static_cast<uint32_t>(bytes);
}

Payload::Payload(uint64_t size) {
    OSTREL_TRACE();
    if (size != 0) buffer_ = std::make_shared<BufferImplementation>(size);
}

Payload::Payload(const void* data, uint64_t size) : Payload(data == nullptr ? 0 : size) {
    OSTREL_TRACE();
    (void)memCopy(getData(), getSize(), data, getSize());  // refuses the null pointers of an empty buffer
}

uint8_t* Payload::getData() {
    return buffer_ ? buffer_->data : nullptr;
}

const uint8_t* Payload::getData() const {
    return buffer_ ? buffer_->data : nullptr;
}

uint32_t Payload::getSize() const {
    return buffer_ ? buffer_->size : 0;
}

uint8_t& Payload::at(size_t index) {
    if (index >= getSize()) throw statuses::requestOutOfBounds();
    return buffer_->data[index];
}

const uint8_t& Payload::at(size_t index) const {
    if (index >= getSize()) throw statuses::requestOutOfBounds();
    return buffer_->data[index];
}

}  // namespace ostrel::core
