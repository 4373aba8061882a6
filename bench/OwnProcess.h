#pragma once

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>

/// Measurements of time and memory, each in a process of its own: a process never gives its peak back.

struct Measurement {
    double seconds = 0;
    long peakBytes = 0;
};

/// Of the processor and not of the wall: the machine may have other work, and waiting for a disk does not count.
inline double now() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

inline long peakBytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss * 1024;
}

/// What `task` returns, a Measurement. Ends the program when the process dies.
template <typename Task>
Measurement inOwnProcess(const Task& task) {
    int ends[2];
    if (pipe(ends) != 0) std::exit(1);
    if (fork() == 0) {
        const Measurement result = task();
        _exit(write(ends[1], &result, sizeof result) == sizeof result ? 0 : 1);
    }
    close(ends[1]);
    Measurement result;
    const bool arrived = read(ends[0], &result, sizeof result) == sizeof result;
    close(ends[0]);
    wait(nullptr);
    if (!arrived) {
        std::fprintf(stderr, "A measurement died; is there enough memory?\n");
        std::exit(1);
    }
    return result;
}
