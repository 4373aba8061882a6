#include "simdrive/iscsi/Parameters.h"

#include <algorithm>
#include <iterator>

#include "ostrel/core/Strings.h"
#include "simdrive/iscsi/Pdu.h"

namespace simdrive::iscsi {

namespace {

constexpr uint32_t MIN_SEGMENT_BYTES = 512;
constexpr uint32_t MAX_LENGTH = 0xFFFFFF;
constexpr uint32_t MAX_BURST_BYTES = 256 << 10;
constexpr const char* NOT_UNDERSTOOD = "NotUnderstood";
constexpr const char* REJECTED = "Reject";

/// Keys whose answer does not depend on what the host wants: of two Boolean values and two numbers the rules of the
/// standard let this target's win.
struct Fixed {
    const char* key;
    const char* answer;
};
constexpr Fixed FIXED[] = {
    {"InitialR2T", "Yes"},       {"ImmediateData", "No"},     {"MaxOutstandingR2T", "1"},
    {"MaxConnections", "1"},     {"DataPDUInOrder", "Yes"},   {"DataSequenceInOrder", "Yes"},
    {"ErrorRecoveryLevel", "0"}, {"DefaultTime2Retain", "0"}, {"IFMarker", "No"},
    {"OFMarker", "No"},
};
/// Of these the host offers a list, and this target knows one value.
constexpr const char* LISTS[] = {"AuthMethod", "HeaderDigest", "DataDigest"};
/// Keys that only declare.
constexpr const char* DECLARATIONS[] = {"InitiatorAlias", "SessionType", "InitiatorName", "TargetName"};

std::optional<uint32_t> numberOf(const std::string& text) {
    constexpr size_t MAX_DIGITS = 9;
    if (text.empty() || text.size() > MAX_DIGITS || text.find_first_not_of("0123456789") != std::string::npos)
        return {};
    return static_cast<uint32_t>(std::stoul(text));
}

bool offersNone(const std::string& list) {
    const std::vector<std::string> values = ostrel::core::split(list, ',');
    return std::find(values.begin(), values.end(), "None") != values.end();
}

bool isIn(const std::string& key, const char* const* begin, const char* const* end) {
    return std::find(begin, end, key) != end;
}

}  // namespace

std::optional<Keys> parseKeys(const std::string& text) {
    Keys keys;
    for (const std::string& each : ostrel::core::split(text, '\0')) {
        if (each.empty()) continue;
        const size_t sign = each.find('=');
        if (sign == std::string::npos || sign == 0) return std::nullopt;
        keys.emplace_back(each.substr(0, sign), each.substr(sign + 1));
    }
    return keys;
}

std::string keysText(const Keys& keys) {
    std::string text;
    for (const auto& [key, value] : keys) text.append(key).append("=").append(value).append(1, '\0');
    return text;
}

Keys Parameters::negotiate(const Keys& asked) {
    Keys answers;
    for (const auto& [key, value] : asked) take(key, value, answers);
    return answers;
}

void Parameters::take(const std::string& key, const std::string& value, Keys& answers) {
    const auto* fixed =
        std::find_if(std::begin(FIXED), std::end(FIXED), [&](const Fixed& each) { return key == each.key; });
    if (key == "InitiatorName") initiatorName = value;
    if (key == "TargetName") targetName = value;
    if (key == "SessionType") isDiscovery = value == "Discovery";
    if (isIn(key, std::begin(DECLARATIONS), std::end(DECLARATIONS))) return;
    if (isIn(key, std::begin(LISTS), std::end(LISTS))) {
        const bool isPossible = offersNone(value);
        isRejected = isRejected || !isPossible;
        answers.emplace_back(key, isPossible ? "None" : REJECTED);
    } else if (fixed != std::end(FIXED)) {
        answers.emplace_back(key, fixed->answer);
    } else {
        takeNumber(key, value, answers);
    }
}

void Parameters::takeNumber(const std::string& key, const std::string& value, Keys& answers) {
    const std::optional<uint32_t> number = numberOf(value);
    const bool isLength = key == "MaxRecvDataSegmentLength" || key == "MaxBurstLength" || key == "FirstBurstLength";
    const bool isKnown = isLength || key == "DefaultTime2Wait";
    if (!isKnown) return answers.emplace_back(key, NOT_UNDERSTOOD), void();
    if (!number || (isLength && (*number < MIN_SEGMENT_BYTES || *number > MAX_LENGTH))) {
        answers.emplace_back(key, REJECTED);
        isRejected = true;
    } else if (key == "MaxRecvDataSegmentLength") {
        hostSegmentBytes = *number;  // each side declares its own; this target's comes with the first answer
    } else if (key == "MaxBurstLength") {
        burstBytes = std::min(*number, MAX_BURST_BYTES);
        answers.emplace_back(key, std::to_string(burstBytes));
    } else if (key == "FirstBurstLength") {
        answers.emplace_back(key, std::to_string(std::min({*number, burstBytes, MAX_SEGMENT_BYTES})));
    } else {
        answers.emplace_back(key, value);
    }
}

}  // namespace simdrive::iscsi
