#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

/// Runs `body` in a process of its own, whose limits and rights may then be lowered, and returns whether it returned
/// true.
template <typename Body>
bool holdsInAChild(Body body) {
    const pid_t child = fork();
    if (child == 0) _exit(body() ? 0 : 1);
    int result = -1;
    EXPECT_EQ(waitpid(child, &result, 0), child);
    return result == 0;
}

/// For such a body: from now on this process has the rights of an unprivileged user. False when root cannot give its
/// rights up.
inline bool dropPrivileges() {
    return geteuid() != 0 || (setgid(65534) == 0 && setuid(65534) == 0);
}
