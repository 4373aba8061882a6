#include "simdrive/tcp/Connection.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <utility>

#include "simdrive/net/Time.h"

namespace simdrive::tcp {

using namespace features::nvme;
using net::nowMs;

namespace {

constexpr uint8_t PSDT_MASK = 0xC0;
constexpr uint8_t PSDT_SGL = 0x40;
constexpr uint8_t FUSE_MASK = 0x03;
constexpr uint8_t SGL_IN_CAPSULE = 0x01;  ///< Data Block, sub type Offset
constexpr uint8_t SGL_TRANSPORT = 0x5A;   ///< Transport Data Block, sub type Transport
constexpr uint16_t HEAD_WITHOUT_FLOW_CONTROL = 0xFFFF;
/// One transfer at a time, so one tag will do.
constexpr uint16_t TRANSFER_TAG = 1;
constexpr uint8_t MAX_ALIGNMENT = 31;

}  // namespace

Connection::Connection(ostrel::core::FileDescriptor socket, CommandHandler& handler)
    : socket_(std::move(socket)), handler_(handler) {}

bool Connection::wantsToRead() const {
    return !isClosing_ && !isOver_ && waitingBytes() < MAX_WAITING_BYTES;
}

size_t Connection::waitingBytes() const {
    size_t bytes = out_.size() - sent_;
    for (const Delayed& each : delayed_) bytes += each.data.size();
    return bytes;
}

void Connection::onReadable() {
    uint8_t piece[65536];
    const ssize_t count = ::recv(socket_.get(), piece, sizeof piece, 0);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (count <= 0) {
        isOver_ = true;
        return;
    }
    hasProgress_ = true;
    in_.insert(in_.end(), piece, piece + count);
    consume();
}

void Connection::onWritable() {
    while (sent_ < out_.size()) {
        const ssize_t count = ::send(socket_.get(), out_.data() + sent_, out_.size() - sent_, MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 && errno == EAGAIN) return;
        if (count < 0) {
            isOver_ = true;
            return;
        }
        hasProgress_ = true;
        sent_ += static_cast<size_t>(count);
    }
    out_.clear();
    sent_ = 0;
    consume();
}

/// Carries out what has come, as long as there is room for the answers.
void Connection::consume() {
    size_t at = 0;
    while (wantsToRead() && at < in_.size()) {
        const uint8_t* bytes = in_.data() + at;
        const size_t size = in_.size() - at;
        Pdu pdu;
        ProtocolError error;
        const Parse parse = isAllowed(bytes[0]) ? parsePdu(bytes, size, framing_, pdu, error) : Parse::ERROR;
        if (parse == Parse::INCOMPLETE) break;
        if (!isAllowed(bytes[0])) error.fatalError = FATAL_SEQUENCE;
        if (parse == Parse::COMPLETE) error = take(pdu);
        if (error.fatalError != 0) {
            terminate(error, bytes, size);
            break;
        }
        at += pdu.totalBytes;
    }
    in_.erase(in_.begin(), in_.begin() + static_cast<std::ptrdiff_t>(at));
}

/// ICReq comes first and once.
bool Connection::isAllowed(uint8_t type) const {
    return (type == PDU_IC_REQ) != isInitialized_ || type == PDU_H2C_TERM_REQ;
}

ProtocolError Connection::take(const Pdu& pdu) {
    switch (pdu.type) {
        case PDU_IC_REQ:
            return takeInitialization(pdu);
        case PDU_CAPSULE_CMD:
            return takeCapsule(pdu);
        case PDU_H2C_DATA:
            return takeData(pdu);
        default:  // H2CTermReq: the host wants no answer
            isOver_ = true;
            return {};
    }
}

ProtocolError Connection::takeInitialization(const Pdu& pdu) {
    const auto asked = structureAt<InitializationHeader>(pdu.header + COMMON_BYTES);
    if (asked.formatVersion != 0) return {FATAL_UNSUPPORTED_PARAMETER, 8};
    if (asked.alignment > MAX_ALIGNMENT) return {FATAL_INVALID_HEADER, 10};
    framing_.hostAlignment = asked.alignment;
    framing_.headerDigest = (asked.digests & 1) != 0;
    framing_.dataDigest = (asked.digests & 2) != 0;
    isInitialized_ = true;
    putIcResp(out_, framing_);
    return {};
}

/// Whether the data pointer is one that this transport knows, and fits the command.
Reply Connection::checkDataPointer(const Capsule& capsule, const Pdu& pdu) const {
    if ((capsule.flags() & FUSE_MASK) != 0 || (capsule.flags() & PSDT_MASK) != PSDT_SGL) {
        return Reply::refusal(SC_INVALID_FIELD);
    }
    const Direction direction = capsule.direction();
    if (direction == Direction::BOTH) return Reply::refusal(SC_INVALID_OPCODE);
    if (direction == Direction::NONE || capsule.sglLength() == 0) return {};
    if (capsule.sglType() == SGL_IN_CAPSULE && direction == Direction::TO_CONTROLLER) {
        if (capsule.sglAddress() > pdu.dataBytes) return Reply::refusal(SC_SGL_OFFSET_INVALID);
        const uint64_t room = pdu.dataBytes - capsule.sglAddress();
        return capsule.sglLength() <= room ? Reply() : Reply::refusal(SC_DATA_SGL_LENGTH_INVALID);
    }
    if (capsule.sglType() != SGL_TRANSPORT) return Reply::refusal(SC_SGL_TYPE_INVALID);
    const bool isTooLong = direction == Direction::TO_CONTROLLER && capsule.sglLength() > MAX_TRANSFER_BYTES;
    return isTooLong ? Reply::refusal(SC_DATA_SGL_LENGTH_INVALID) : Reply();
}

ProtocolError Connection::takeCapsule(const Pdu& pdu) {
    constexpr size_t AT_ENTRY = 8;
    const Capsule capsule(pdu.header + AT_ENTRY);
    if (outstanding_.size() >= queue.entries) return {FATAL_SEQUENCE, 0};  // more than the host's own queue holds
    head_ = static_cast<uint16_t>((head_ + 1) % queue.entries);
    if (outstanding_.count(capsule.commandId()) != 0) {
        complete(capsule.commandId(), Reply::refusal(SC_COMMAND_ID_CONFLICT));
        return {};
    }
    outstanding_.insert(capsule.commandId());
    Reply check = checkDataPointer(capsule, pdu);
    if (check.isSuccess() && pdu.isDataDamaged) check = Reply::passingRefusal(SC_TRANSIENT_TRANSPORT_ERROR);
    if (!check.isSuccess()) {
        answer(capsule, check, {});
        return {};
    }
    std::vector<uint8_t> data;
    if (capsule.direction() == Direction::TO_CONTROLLER && capsule.sglLength() != 0) {
        if (capsule.sglType() == SGL_TRANSPORT) {
            transfers_.push_back(Transfer{capsule, {}, 0, false});
            if (transfers_.size() == 1) requestData();
            return {};
        }
        const uint8_t* begin = pdu.data + capsule.sglAddress();
        data.assign(begin, begin + capsule.sglLength());
    }
    run(capsule, data);
    return {};
}

/// Asks for all data of the first transfer at once.
void Connection::requestData() {
    Transfer& transfer = transfers_.front();
    transfer.data.resize(transfer.capsule.sglLength());
    putR2t(out_, framing_, transfer.capsule.commandId(), TRANSFER_TAG, 0, transfer.capsule.sglLength());
}

ProtocolError Connection::takeData(const Pdu& pdu) {
    constexpr uint32_t AT_COMMAND_ID = 8;
    constexpr uint32_t AT_TAG = 10;
    constexpr uint32_t AT_OFFSET = 12;
    if (transfers_.empty()) return {FATAL_SEQUENCE, 0};
    Transfer& transfer = transfers_.front();
    if (le16(pdu.header + AT_COMMAND_ID) != transfer.capsule.commandId()) return {FATAL_INVALID_HEADER, AT_COMMAND_ID};
    if (le16(pdu.header + AT_TAG) != TRANSFER_TAG) return {FATAL_INVALID_HEADER, AT_TAG};
    if (le32(pdu.header + AT_OFFSET) != transfer.received) return {FATAL_OUT_OF_RANGE, AT_OFFSET};
    const auto wanted = static_cast<uint32_t>(transfer.data.size()) - transfer.received;
    if (pdu.dataBytes == 0 || pdu.dataBytes > wanted) return {FATAL_OUT_OF_RANGE, 16};
    std::copy_n(pdu.data, pdu.dataBytes, transfer.data.begin() + transfer.received);
    transfer.received += pdu.dataBytes;
    transfer.isDamaged = transfer.isDamaged || pdu.isDataDamaged;
    const bool isLast = (pdu.flags & FLAG_LAST) != 0;
    if (isLast != (pdu.dataBytes == wanted)) return {FATAL_INVALID_HEADER, 1};
    if (!isLast) return {};
    Transfer done = std::move(transfer);
    transfers_.pop_front();
    if (!transfers_.empty()) requestData();
    if (done.isDamaged) {
        answer(done.capsule, Reply::passingRefusal(SC_TRANSIENT_TRANSPORT_ERROR), {});
    } else {
        run(done.capsule, done.data);
    }
    return {};
}

void Connection::run(const Capsule& capsule, std::vector<uint8_t>& data) {
    const Reply reply = handler_.handle(*this, capsule, data);
    if (reply.isHeld) {
        held_.insert(capsule.commandId());
        return;
    }
    if (reply.delayMs != 0) {
        delayed_.push_back({nowMs() + reply.delayMs, capsule, reply, std::move(data)});
        return;
    }
    answer(capsule, reply, data);
}

void Connection::answerDue(uint64_t nowMs) {
    if (isOver_ || nextDueMs() > nowMs) return;
    // In the order in which they are due; those of one time in that of their commands.
    const auto due = std::stable_partition(delayed_.begin(), delayed_.end(),
                                           [&](const Delayed& each) { return each.dueMs > nowMs; });
    std::stable_sort(due, delayed_.end(), [](const Delayed& a, const Delayed& b) { return a.dueMs < b.dueMs; });
    std::vector<Delayed> answers(std::make_move_iterator(due), std::make_move_iterator(delayed_.end()));
    delayed_.erase(due, delayed_.end());
    for (const Delayed& each : answers) answer(each.capsule, each.reply, each.data);
    consume();
}

uint64_t Connection::nextDueMs() const {
    uint64_t next = UINT64_MAX;
    for (const Delayed& each : delayed_) next = std::min(next, each.dueMs);
    return next;
}

/// Data go first, then the completion; of a refused command no data.
void Connection::answer(const Capsule& capsule, Reply reply, const std::vector<uint8_t>& data) {
    const bool hasData = capsule.direction() == Direction::TO_HOST && reply.isSuccess() && !data.empty();
    if (hasData && data.size() > capsule.sglLength()) {
        reply = Reply::refusal(SC_DATA_SGL_LENGTH_INVALID);
    } else if (hasData) {
        // The unit's own success flag replaces the completion, when that would hold nothing more.
        const bool isAllSaid = !queue.isFlowControlled && reply.statusField == 0 && reply.result == 0;
        putC2hData(out_, framing_, capsule.commandId(), data, isAllSaid);
        if (isAllSaid) {
            outstanding_.erase(capsule.commandId());
            return;
        }
    }
    outstanding_.erase(capsule.commandId());
    complete(capsule.commandId(), reply);
}

void Connection::complete(uint16_t commandId, const Reply& reply) {
    CompletionQueueEntry entry{};
    entry.result = reply.result;
    entry.queueHead = queue.isFlowControlled ? head_ : HEAD_WITHOUT_FLOW_CONTROL;
    entry.queueId = queue.id;
    entry.commandId = commandId;
    entry.status = static_cast<uint16_t>(reply.statusField << 1);
    putCapsuleResp(out_, framing_, entry);
}

bool Connection::completeHeld(uint16_t commandId, const Reply& reply) {
    if (held_.erase(commandId) == 0) return false;
    outstanding_.erase(commandId);
    complete(commandId, reply);
    return true;
}

void Connection::dropHeld() {
    for (const uint16_t commandId : held_) outstanding_.erase(commandId);
    held_.clear();
    for (const Delayed& each : delayed_) outstanding_.erase(each.capsule.commandId());
    delayed_.clear();
}

void Connection::terminate(const ProtocolError& error, const uint8_t* bytes, size_t size) {
    constexpr size_t AT_HLEN = 2;
    putC2hTermReq(out_, error, bytes, size > AT_HLEN ? std::min<size_t>(size, bytes[AT_HLEN]) : size);
    close();
}

}  // namespace simdrive::tcp
