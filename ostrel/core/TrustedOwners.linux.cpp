#include "ostrel/core/TrustedOwners.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "ostrel/core/File.h"
#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/Strings.h"

namespace ostrel::core {
namespace {

/// All user ids but (uid_t)-1, which is none.
constexpr uint64_t ALL_USERS = 4294967295;

std::string readProcFile(const char* path) {
    OSTREL_TRACE();
    std::string text;
    (void)readFile(path, SymbolicLink::FOLLOW, text);  // empty without /proc
    return text;
}

/// Nothing for what is no number.
std::optional<uint64_t> readNumber(const std::string& word) {
    OSTREL_TRACE();
    uint64_t number = 0;
    const bool isRead = std::from_chars(word.data(), word.data() + word.size(), number).ec == std::errc();
    return isRead ? std::optional(number) : std::nullopt;
}

/// The namespace of the machine, which maps all users. Its number is a constant of the kernel (PROC_USER_INIT_INO). The
/// link is read and not followed: AppArmor has no path for what it leads to.
bool isInitialUserNamespace() {
    OSTREL_TRACE();
    constexpr std::string_view INITIAL_USER_NAMESPACE = "user:[4026531837]";
    char target[64];
    const ssize_t length = readlink("/proc/self/ns/user", target, sizeof target);
    return length > 0 && std::string_view(target, static_cast<size_t>(length)) == INITIAL_USER_NAMESPACE;
}

std::optional<uid_t> findUnmappedOwner() {
    OSTREL_TRACE();
    if (isInitialUserNamespace()) return std::nullopt;
    constexpr uid_t DEFAULT_OVERFLOW_USER = 65534;
    // Each line: the first user inside, the first outside, how many.
    const std::vector<std::string> map = splitWords(readProcFile("/proc/self/uid_map"));
    uint64_t mapped = 0;
    for (size_t i = 2; i < map.size(); i += 3) mapped += readNumber(map[i]).value_or(0);
    if (map.size() < 3 || mapped >= ALL_USERS) return std::nullopt;
    const std::vector<std::string> overflow = splitWords(readProcFile("/proc/sys/kernel/overflowuid"));
    const uint64_t owner = overflow.empty() ? DEFAULT_OVERFLOW_USER : readNumber(overflow[0]).value_or(ALL_USERS);
    return owner < ALL_USERS ? static_cast<uid_t>(owner) : DEFAULT_OVERFLOW_USER;
}

}  // namespace

TrustedOwners TrustedOwners::ofThisProcess() {
    OSTREL_TRACE();
    static const TrustedOwners owners = [] {
        std::vector<uid_t> users = {0, geteuid()};
        struct stat executable = {};
        if (stat("/proc/self/exe", &executable) == 0) users.push_back(executable.st_uid);
        return TrustedOwners(std::move(users), findUnmappedOwner());
    }();
    return owners;
}

TrustedOwners::TrustedOwners(std::vector<uid_t> users, std::optional<uid_t> unmappedOwner)
    : users_(std::move(users)), unmappedOwner_(unmappedOwner) {
    OSTREL_TRACE();
}

bool TrustedOwners::contains(uid_t user) const {
    OSTREL_TRACE();
    // An executable of the unmapped owner does not make all of the unmapped users trusted.
    return !isUnmapped(user) && std::find(users_.begin(), users_.end(), user) != users_.end();
}

}  // namespace ostrel::core
