#include "simdrive/scsi/ModePages.h"

namespace simdrive::scsi {

using features::ata::Protocol;
using features::simulator::sata::SECTOR_BYTES;
using features::simulator::sata::TaskFile;
using Bytes = std::vector<uint8_t>;

namespace {

constexpr uint8_t MODE_SENSE_6 = 0x1A;
constexpr uint8_t MODE_SELECT_6 = 0x15;
constexpr uint8_t CACHING = 0x08;
constexpr uint8_t CONTROL = 0x0A;
constexpr uint8_t ALL_PAGES = 0x3F;
constexpr uint8_t CHANGEABLE = 1;  // page control
constexpr uint8_t SAVED = 3;
constexpr uint8_t WCE = 0x04;
constexpr uint8_t D_SENSE = 0x04;
constexpr size_t CACHING_BYTES = 20;
constexpr size_t CONTROL_BYTES = 12;
constexpr uint8_t SET_FEATURES = 0xEF;
constexpr size_t ENABLED_FEATURES = 170;  // byte of IDENTIFY DEVICE: word 85

void appendCaching(Bytes& data, bool isChangeable, bool hasWriteCache) {
    const size_t at = data.size();
    data.resize(at + CACHING_BYTES);
    data[at] = CACHING;
    data[at + 1] = CACHING_BYTES - 2;
    if (isChangeable || hasWriteCache) data[at + 2] = WCE;
}

void appendControl(Bytes& data, bool isChangeable, SenseFormat format) {
    const size_t at = data.size();
    data.resize(at + CONTROL_BYTES);
    data[at] = CONTROL;
    data[at + 1] = CONTROL_BYTES - 2;
    if (isChangeable || format == SenseFormat::DESCRIPTOR) data[at + 2] = D_SENSE;
}

Answer setWriteCache(const ScsiCommand& command, bool isOn) {
    constexpr uint16_t ENABLE = 0x02;
    constexpr uint16_t DISABLE = 0x82;
    return translate(command, {SET_FEATURES, Protocol::NON_DATA, false, isOn ? ENABLE : DISABLE, 0, 0, 0, 0});
}

/// One page of a parameter list.
Answer selectPage(const ScsiCommand& command, const uint8_t* page, size_t bytes) {
    const uint8_t code = page[0] & 0x3F;
    if (code == CACHING && bytes == CACHING_BYTES) return setWriteCache(command, (page[2] & WCE) != 0);
    if (code != CONTROL || bytes != CONTROL_BYTES) return checkCondition(command, INVALID_PARAMETER);
    command.senseFormat = (page[2] & D_SENSE) != 0 ? SenseFormat::DESCRIPTOR : SenseFormat::FIXED;
    return Answer();
}

}  // namespace

Answer modeSense(const ScsiCommand& command) {
    const bool is6 = command.cdb[0] == MODE_SENSE_6;
    const uint8_t pageControl = command.cdb[2] >> 6;
    const uint8_t page = command.cdb[2] & 0x3F;
    const bool isKnown = page == CACHING || page == CONTROL || page == ALL_PAGES;
    if (!isKnown || pageControl == SAVED || command.cdb[3] != 0) return checkCondition(command, INVALID_FIELD);
    const Answer identify = translate(command, {0xEC, Protocol::PIO_IN, false, 0, 0, 0, 0, SECTOR_BYTES});
    if (identify.delivery != Answer::Delivery::COMPLETED || identify.status != STATUS_GOOD) return identify;
    const bool hasWriteCache = (identify.data[ENABLED_FEATURES] & 0x20) != 0;
    Bytes data(is6 ? 4 : 8);
    if (page != CONTROL) appendCaching(data, pageControl == CHANGEABLE, hasWriteCache);
    if (page != CACHING) appendControl(data, pageControl == CHANGEABLE, command.senseFormat);
    if (is6) {
        data[0] = static_cast<uint8_t>(data.size() - 1);
    } else {
        putBigEndian(data.data(), data.size() - 2, 2);
    }
    return parameterData(std::move(data), is6 ? command.cdb[4] : bigEndianLength(command.cdb + 7, 2));
}

Answer modeSelect(const ScsiCommand& command) {
    const bool is6 = command.cdb[0] == MODE_SELECT_6;
    const size_t head = is6 ? 4 : 8;
    const size_t length = is6 ? command.cdb[4] : bigEndianLength(command.cdb + 7, 2);
    const Bytes& data = command.dataOut;
    if (length == 0) return Answer();
    if (data.size() < length || length < head) return checkCondition(command, INVALID_PARAMETER);
    const size_t descriptors = is6 ? data[3] : bigEndianLength(data.data() + 6, 2);
    size_t at = head + descriptors;
    Answer answer;
    while (at + 2 <= length && answer.status == STATUS_GOOD) {
        const size_t bytes = size_t{data[at + 1]} + 2;
        if (bytes > length - at) return checkCondition(command, INVALID_PARAMETER);
        answer = selectPage(command, data.data() + at, bytes);
        at += bytes;
    }
    return answer;
}

}  // namespace simdrive::scsi
