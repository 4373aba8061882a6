#include "simdrive/auth/Secret.h"

#include <boost/crc.hpp>
#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "features/nvme/Bytes.h"
#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/FileRules.h"
#include "ostrel/core/SystemError.h"

namespace simdrive::auth {

using namespace ostrel::core;
using features::Result;

namespace {

constexpr const char* PREFIX = "DHHC-1:";
constexpr size_t PREFIX_BYTES = 7;
constexpr size_t CRC_BYTES = 4;
constexpr size_t MAX_FILE_BYTES = 256;

Status wrong(const std::string& message) {
    return Status(CATEGORY_OS, EINVAL, message);
}

Status ofPath(int error, const std::string& path, const std::string& why) {
    return Status(CATEGORY_OS, static_cast<uint32_t>(error), path + ": " + why);
}

Status unreadable(int error, const std::string& path) {
    return ofPath(error, path, systemErrorText(error) + ".");
}

/// Empty: the text is no base64. OpenSSL's decoder takes whole groups of four and counts the padding as zeros.
std::optional<Bytes> decode(const std::string& text) {
    if (text.empty() || text.size() % 4 != 0) return std::nullopt;
    const size_t padding = text.size() - (text.find_last_not_of('=') + 1);
    Bytes bytes(text.size() / 4 * 3);
    const int length = EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(text.data()),
                                       static_cast<int>(text.size()));
    if (length < 0 || padding > 2) return std::nullopt;
    bytes.resize(static_cast<size_t>(length) - padding);
    return bytes;
}

uint32_t crc32(const Bytes& bytes, size_t size) {
    boost::crc_32_type crc;
    crc.process_bytes(bytes.data(), size);
    return crc.checksum();
}

Status checkFile(int file, const std::string& path) {
    struct stat info{};
    if (::fstat(file, &info) != 0) return unreadable(errno, path);
    if (!S_ISREG(info.st_mode)) return ofPath(EINVAL, path, "is not a regular file.");
    if (ostrel::core::isOfOtherUser(info)) return ofPath(EPERM, path, "belongs to another user.");
    if ((info.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        return ofPath(EPERM, path, "can be opened by other users: its mode must be 0600.");
    }
    return Status();
}

}  // namespace

Result<Secret> Secret::parse(const std::string& text) {
    constexpr size_t AT_HASH = PREFIX_BYTES;
    constexpr size_t AT_BASE64 = AT_HASH + 3;
    const Status malformed = wrong("The secret is not of the form DHHC-1:hh:BASE64:");
    if (text.compare(0, PREFIX_BYTES, PREFIX) != 0 || text.size() <= AT_BASE64 || text.back() != ':') return malformed;
    const std::string hash = text.substr(AT_HASH, 3);
    if (hash.size() != 3 || hash[0] != '0' || hash[1] < '0' || hash[1] > '3' || hash[2] != ':') {
        return wrong("The secret's hash function is none of 00, 01, 02 and 03.");
    }
    std::optional<Bytes> bytes = decode(text.substr(AT_BASE64, text.size() - AT_BASE64 - 1));
    if (!bytes) return malformed;
    const size_t keyBytes = bytes->size() - std::min(bytes->size(), CRC_BYTES);
    if (keyBytes != 32 && keyBytes != 48 && keyBytes != 64) return wrong("The secret has neither 32, 48 nor 64 bytes.");
    if (crc32(*bytes, keyBytes) != features::nvme::le32(bytes->data() + keyBytes)) {
        return wrong("The secret's checksum is wrong.");
    }
    bytes->resize(keyBytes);
    const auto number = static_cast<uint8_t>(hash[1] - '0');
    return Secret{number == 0 ? std::nullopt : std::optional<Hash>(static_cast<Hash>(number)), *std::move(bytes)};
}

Result<Secret> Secret::read(const std::string& path) {
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file.isOpen()) return unreadable(errno, path);
    RETURN_IF_FAILED(checkFile(file.get(), path));
    char text[MAX_FILE_BYTES];
    ssize_t count = 0;
    do {
        count = ::read(file.get(), text, sizeof text);
    } while (count < 0 && errno == EINTR);
    if (count < 0) return unreadable(errno, path);
    std::string line(text, static_cast<size_t>(count));
    if (!line.empty() && line.back() == '\n') line.pop_back();
    auto secret = parse(line);
    if (!secret) return ofPath(EINVAL, path, secret.error().getMessage());
    return secret;
}

Bytes Secret::keyOf(const std::string& nqn) const {
    if (!transformation) return key;
    const std::string text = nqn + "NVMe-over-Fabrics";
    return hmac(*transformation, key, Bytes(text.begin(), text.end()));
}

}  // namespace simdrive::auth
