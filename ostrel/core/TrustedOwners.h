#pragma once

#include <sys/types.h>

#include <optional>
#include <vector>

namespace ostrel::core {

/// The users whose files this process relies on where it would run or obey what they hold.
///
/// Threads: a plain value, without shared state.
class TrustedOwners {
public:
    /// Root, the effective user, and the owner of the executable, who could change the program itself. Where /proc is
    /// not mounted the owner of the executable is unknown, and is none of them.
    ///
    /// In a user namespace that does not map all users the files of all others show one owner, root's among them: the
    /// unmapped owner. Which namespace this is can only be read from /proc: without it there is no unmapped owner.
    /// They are looked for once in a process, which changes neither its user nor its namespace.
    static TrustedOwners ofThisProcess();

    explicit TrustedOwners(std::vector<uid_t> users, std::optional<uid_t> unmappedOwner = std::nullopt);

    bool contains(uid_t user) const;
    /// Whether the user is one of many, of whom some are trusted.
    bool isUnmapped(uid_t user) const { return unmappedOwner_ == user; }

private:
    std::vector<uid_t> users_;
    std::optional<uid_t> unmappedOwner_;
};

}  // namespace ostrel::core
