#include "features/jobs/support/HeapRoom.h"

#include <cstdlib>

namespace features::jobs {

void makeHeapRoom(std::size_t bytes) {
    // A compiler may leave out an allocation that is not used; it knows nothing of what is done to a volatile pointer.
    void* volatile room = std::malloc(bytes);
    std::free(room);
}

}  // namespace features::jobs
