#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

/// What a process left that ran a body with its standard error stream in a pipe.
struct End {
    int status;
    std::string said;
};

/// Of a process that runs `body`, which may be ended by a signal.
template <typename Body>
End endOf(Body body) {
    int ends[2] = {-1, -1};
    EXPECT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDERR_FILENO);
        body();
        _exit(0);
    }
    close(ends[1]);
    End end{-1, ""};
    char byte = 0;
    while (read(ends[0], &byte, 1) == 1) end.said += byte;
    close(ends[0]);
    EXPECT_EQ(waitpid(child, &end.status, 0), child);
    return end;
}
