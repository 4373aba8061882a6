#include "simdrive/capture/Mask.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <map>
#include <numeric>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "features/nvme/FeatureIds.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/Opcodes.h"

namespace simdrive {

using features::simulator::CapturedAnswer;
using features::simulator::CapturedAnswers;
using features::simulator::CapturedCommand;
using Bytes = std::vector<uint8_t>;

namespace {

/// Shorter ones may be there by chance, and stay.
constexpr size_t MIN_SEARCHED_BYTES = 5;

/// Identify Controller.
constexpr size_t OFFSET_SERIAL = 4;
constexpr size_t SERIAL_BYTES = 20;
constexpr size_t OFFSET_FGUID = 112;
constexpr size_t OFFSET_SUBNQN = 768;
constexpr size_t SUBNQN_BYTES = 256;
/// Identify Namespace.
constexpr size_t OFFSET_NGUID = 104;
constexpr size_t OFFSET_EUI64 = 120;
constexpr size_t NGUID_BYTES = 16;
constexpr size_t EUI64_BYTES = 8;
/// IDENTIFY DEVICE.
constexpr uint8_t IDENTIFY_DEVICE = 0xEC;
constexpr size_t IDENTIFY_DEVICE_BYTES = 512;
constexpr size_t OFFSET_ATA_SERIAL = 20;
constexpr size_t OFFSET_WWN = 216;
constexpr size_t OFFSET_INTEGRITY = 510;
constexpr uint8_t INTEGRITY_WORD = 0xA5;

Bytes reversed(Bytes bytes) {
    std::reverse(bytes.begin(), bytes.end());
    return bytes;
}
/// As ATA has texts and names: the second byte of a word first.
Bytes swapped(Bytes bytes) {
    for (size_t i = 0; i + 1 < bytes.size(); i += 2) std::swap(bytes[i], bytes[i + 1]);
    return bytes;
}
Bytes hexOf(const Bytes& bytes, const char* digits) {
    Bytes text;
    for (const uint8_t byte : bytes)
        text.insert(text.end(), {static_cast<uint8_t>(digits[byte >> 4]), static_cast<uint8_t>(digits[byte & 15])});
    return text;
}
Bytes part(const Bytes& data, size_t offset, size_t size) {
    if (offset + size > data.size()) return {};
    const auto first = data.begin() + static_cast<std::ptrdiff_t>(offset);
    return {first, first + static_cast<std::ptrdiff_t>(size)};
}
bool isSet(const Bytes& bytes) {
    return std::any_of(bytes.begin(), bytes.end(), [](uint8_t byte) { return byte != 0; });
}
/// Without the blanks and zeros around it.
Bytes trimmed(Bytes text) {
    const auto isFiller = [](uint8_t byte) { return byte == ' ' || byte == 0; };
    while (!text.empty() && isFiller(text.back())) text.pop_back();
    text.erase(text.begin(), std::find_if_not(text.begin(), text.end(), isFiller));
    return text;
}

/// Replaces identifiers by others that follow from them and a key.
class Disguise {
public:
    Disguise() {
        if (RAND_bytes(key_.data(), static_cast<int>(key_.size())) != 1)
            throw std::runtime_error("There are no random numbers for the mask.");
    }

    /// The first `kept` bytes stay.
    Bytes number(const Bytes& id, size_t kept) const {
        const auto digest = digestOf(id);
        Bytes masked = id;
        for (size_t i = kept; i < masked.size(); ++i) masked[i] = digest[i % digest.size()];
        return masked;
    }
    /// Letters and digits become others, in lower case those of hexadecimal numbers; what is between them stays.
    Bytes text(const Bytes& id, size_t kept) const {
        static constexpr char UPPER[] = "0123456789ABCDEFGHJKLMNPQRSTVWXYZ";
        static constexpr char LOWER[] = "0123456789abcdef";
        const auto digest = digestOf(id);
        Bytes masked = id;
        for (size_t i = kept; i < masked.size(); ++i) {
            if (std::isalnum(masked[i]) == 0) continue;
            const uint8_t random = digest[i % digest.size()];
            masked[i] = static_cast<uint8_t>(std::islower(masked[i]) != 0 ? LOWER[random % (sizeof LOWER - 1)]
                                                                          : UPPER[random % (sizeof UPPER - 1)]);
        }
        return masked;
    }

private:
    using Digest = std::array<uint8_t, 64>;

    Digest digestOf(const Bytes& id) const {
        Digest digest{};
        unsigned length = 0;
        if (HMAC(EVP_sha512(), key_.data(), static_cast<int>(key_.size()), id.data(), id.size(), digest.data(),
                 &length) == nullptr)
            throw std::runtime_error("The mask cannot be computed.");
        return digest;
    }

    std::array<uint8_t, 32> key_{};
};

/// What is replaced by what: pairs of equal length.
class Replacements {
public:
    /// A number in each form in which drives and programs write it.
    void addNumber(const Bytes& id, size_t kept) {
        if (!isSet(id)) return;
        const Bytes masked = disguise_.number(id, kept);
        add(id, masked);
        add(reversed(id), reversed(masked));
        add(swapped(id), swapped(masked));
        for (const char* digits : {"0123456789abcdef", "0123456789ABCDEF"})
            add(hexOf(id, digits), hexOf(masked, digits));
    }
    void addText(const Bytes& id, size_t kept = 0) {
        const Bytes masked = disguise_.text(id, kept);
        add(id, masked);
        if (id.size() < MIN_SEARCHED_BYTES) return;
        for (const uint8_t filler : {uint8_t{' '}, uint8_t{0}}) {
            addSwapped(id, masked, filler);
            // Flush right in its field, a text may begin in the middle of a word.
            addSwapped(before(filler, id), before(filler, masked), filler);
        }
    }

    /// The longest first: one may be in another.
    void apply(Bytes& data) const {
        for (auto pair = pairs_.rbegin(); pair != pairs_.rend(); ++pair) {
            const Bytes& from = pair->second.first;
            const Bytes& to = pair->second.second;
            for (auto at = data.begin();; at += static_cast<std::ptrdiff_t>(to.size())) {
                at = std::search(at, data.end(), from.begin(), from.end());
                if (at == data.end()) break;
                std::copy(to.begin(), to.end(), at);
            }
        }
    }
    const Disguise& disguise() const { return disguise_; }

private:
    static Bytes before(uint8_t filler, Bytes bytes) {
        bytes.insert(bytes.begin(), filler);
        return bytes;
    }
    /// In whole words: the filler is beside the last letter.
    void addSwapped(Bytes from, Bytes to, uint8_t filler) {
        if (from.size() % 2 != 0) {
            from.push_back(filler);
            to.push_back(filler);
        }
        add(swapped(std::move(from)), swapped(std::move(to)));
    }
    void add(const Bytes& from, const Bytes& to) {
        if (from.size() >= MIN_SEARCHED_BYTES) pairs_[{from.size(), from}] = {from, to};
    }

    Disguise disguise_;
    std::map<std::pair<size_t, Bytes>, std::pair<Bytes, Bytes>> pairs_;
};

void collectController(const Bytes& data, Replacements& replacements) {
    replacements.addText(trimmed(part(data, OFFSET_SERIAL, SERIAL_BYTES)));
    replacements.addNumber(part(data, OFFSET_FGUID, NGUID_BYTES), 0);
    const Bytes name = trimmed(part(data, OFFSET_SUBNQN, SUBNQN_BYTES));
    // Date and owner say who made the drive, as its model number does.
    const auto owner = std::find(name.begin(), name.end(), ':');
    replacements.addText(name, static_cast<size_t>(owner - name.begin()));
}

void collectNamespace(const Bytes& data, Replacements& replacements) {
    constexpr size_t OUI_BYTES = 3;
    replacements.addNumber(part(data, OFFSET_NGUID, NGUID_BYTES), 0);
    replacements.addNumber(part(data, OFFSET_EUI64, EUI64_BYTES), OUI_BYTES);
}

/// Namespace Identification Descriptors: type, length, two reserved bytes, identifier.
void collectDescriptors(const Bytes& data, Replacements& replacements) {
    constexpr size_t HEAD_BYTES = 4;
    constexpr uint8_t EUI64 = 1;
    constexpr uint8_t UUID = 3;
    constexpr size_t OUI_BYTES = 3;
    for (size_t at = 0; at + HEAD_BYTES <= data.size() && data[at] != 0; at += HEAD_BYTES + data[at + 1]) {
        if (data[at] > UUID) continue;
        replacements.addNumber(part(data, at + HEAD_BYTES, data[at + 1]), data[at] == EUI64 ? OUI_BYTES : 0);
    }
}

void collectIdentifyDevice(const Bytes& data, Replacements& replacements) {
    constexpr size_t NAA_AND_OUI_BYTES = 4;  // and four bits more
    replacements.addText(trimmed(swapped(part(data, OFFSET_ATA_SERIAL, SERIAL_BYTES))));
    replacements.addNumber(swapped(part(data, OFFSET_WWN, EUI64_BYTES)), NAA_AND_OUI_BYTES);
}

void collect(const CapturedCommand& command, const CapturedAnswer& answer, bool isSata, Replacements& replacements) {
    using namespace features::nvme;
    const uint32_t what = command.fields[1] & 0xFF;
    if (isSata) {
        if (command.opcode == IDENTIFY_DEVICE) collectIdentifyDevice(answer.data, replacements);
    } else if (command.opcode == OPC_IDENTIFY && what == CNS_CONTROLLER) {
        collectController(answer.data, replacements);
    } else if (command.opcode == OPC_IDENTIFY && (what == CNS_NAMESPACE || what == CNS_ALLOCATED_NAMESPACE)) {
        collectNamespace(answer.data, replacements);
    } else if (command.opcode == OPC_IDENTIFY && what == CNS_NAMESPACE_DESCRIPTORS) {
        collectDescriptors(answer.data, replacements);
    } else if (command.opcode == OPC_GET_FEATURES && what == FID_HOST_IDENTIFIER) {
        replacements.addNumber(answer.data, 0);
    }
}

/// A serial number that is too short to be searched for, in its own place.
void maskShortSerial(Bytes& data, size_t offset, bool isSwapped, const Disguise& disguise) {
    const Bytes field = part(data, offset, SERIAL_BYTES);
    const Bytes text = isSwapped ? swapped(field) : field;
    if (trimmed(text).empty() || trimmed(text).size() >= MIN_SEARCHED_BYTES) return;
    const Bytes masked = disguise.text(text, 0);
    const Bytes stored = isSwapped ? swapped(masked) : masked;
    std::copy(stored.begin(), stored.end(), data.begin() + static_cast<std::ptrdiff_t>(offset));
}

/// The sum of all bytes is 0, where the drive says that it keeps it so.
void mendChecksum(Bytes& data) {
    if (data.size() != IDENTIFY_DEVICE_BYTES || data[OFFSET_INTEGRITY] != INTEGRITY_WORD) return;
    data.back() = 0;
    data.back() = static_cast<uint8_t>(-std::accumulate(data.begin(), data.end(), 0U));
}

}  // namespace

void mask(CapturedAnswers& capture) {
    Replacements replacements;
    for (const auto& [command, answer] : capture.answers) collect(command, answer, capture.isSata, replacements);
    for (auto& [command, answer] : capture.answers) {
        replacements.apply(answer.data);
        const bool isController = command.opcode == features::nvme::OPC_IDENTIFY &&
                                  (command.fields[1] & 0xFF) == features::nvme::CNS_CONTROLLER;
        const bool isDevice = capture.isSata && command.opcode == IDENTIFY_DEVICE;
        if (!capture.isSata && isController)
            maskShortSerial(answer.data, OFFSET_SERIAL, false, replacements.disguise());
        if (!isDevice) continue;
        maskShortSerial(answer.data, OFFSET_ATA_SERIAL, true, replacements.disguise());
        mendChecksum(answer.data);
    }
    capture.isMasked = true;
}

}  // namespace simdrive
