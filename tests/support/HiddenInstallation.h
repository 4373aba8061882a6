#pragma once

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

/// Runs this program again where the machine has no installation of the tool: its drives, settings and logs are no
/// test's business. To be called by main(), with its arguments; returns in the program that sees none of them. Without
/// namespaces the program fails.
inline void hideInstallation(char** arguments) {
    constexpr const char* HIDDEN = "NIMBREL_INSTALLATION_HIDDEN";
    if (std::getenv(HIDDEN) != nullptr) return;
    ::setenv(HIDDEN, "1", 1);
    // A user namespace, or for real root a plain mount namespace.
    constexpr const char* SCRIPT = R"sh(
        if unshare --map-root-user --mount true 2>/dev/null; then users=--map-root-user; fi
        exec unshare ${users-} --mount sh -euc '
            for place in /opt/velko/nimbrel /var/lib/nimbrel /var/log /usr/lib/nimbrel; do
                [ ! -d "$place" ] || mount -t tmpfs tmpfs "$place"
            done
            exec "$@"' hidden "$@")sh";
    std::vector<const char*> command{"sh", "-euc", SCRIPT, "hidden"};
    for (; *arguments != nullptr; ++arguments) command.push_back(*arguments);
    command.push_back(nullptr);
    ::execvp(command.front(), const_cast<char**>(command.data()));
    std::perror("sh");
    std::_Exit(EXIT_FAILURE);
}
