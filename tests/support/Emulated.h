#pragma once

#include <cstdlib>

/// Whether QEMU's user emulation runs the test, as scripts/test-elsewhere says by a variable: it takes a limit of the
/// address space as one of its own, and knows neither filters of system calls (seccomp) nor ptrace(2).
inline bool isEmulated() {
    return std::getenv("NIMBREL_EMULATED") != nullptr;
}
