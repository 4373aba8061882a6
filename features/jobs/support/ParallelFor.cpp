#include "features/jobs/support/ParallelFor.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace features::jobs {

void parallelFor(std::size_t count, std::size_t bound, const std::function<void(std::size_t)>& work) {
    std::atomic<std::size_t> next{0};
    std::mutex mutex;
    std::exception_ptr failure;
    const auto worker = [&] {
        for (std::size_t number = next++; number < count; number = next++) {
            try {
                work(number);
            } catch (...) {
                const std::lock_guard<std::mutex> lock(mutex);
                failure = std::current_exception();
            }
        }
    };
    std::vector<std::thread> threads;
    const std::size_t workers = std::min(count, bound);
    try {
        // The calling thread is the first worker.
        for (std::size_t i = 1; i < workers; ++i) threads.emplace_back(worker);
    } catch (const std::exception&) {
        // No thread or no memory for one: with fewer than wished for the work is still done.
    }
    worker();
    for (std::thread& thread : threads) thread.join();
    if (failure) std::rethrow_exception(failure);
}

}  // namespace features::jobs
