#include "simdrive/iscsi/Connection.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "simdrive/net/Time.h"

namespace simdrive::iscsi {

using scsi::Answer;
using Bytes = std::vector<uint8_t>;

namespace {

// Offsets in headers.
constexpr size_t AT_ISID = 8;
constexpr size_t ISID_BYTES = 6;
constexpr size_t AT_TSIH = 14;
constexpr size_t AT_TASK_TAG = 16;
constexpr size_t AT_TRANSFER_TAG = 20;
constexpr size_t AT_EXPECTED_LENGTH = 20;
constexpr size_t AT_REFERENCED_TAG = 20;
constexpr size_t AT_COMMAND_SN = 24;
constexpr size_t AT_STAT_SN = 24;
constexpr size_t AT_EXP_COMMAND_SN = 28;
constexpr size_t AT_MAX_COMMAND_SN = 32;
constexpr size_t AT_CDB = 32;
constexpr size_t AT_DATA_SN = 36;
constexpr size_t AT_LOGIN_STATUS = 36;
constexpr size_t AT_BUFFER_OFFSET = 40;
constexpr size_t AT_DESIRED_LENGTH = 44;
constexpr size_t AT_RESIDUAL = 44;

// Flags of byte 1.
constexpr uint8_t LOGIN_TRANSIT = 0x80;
constexpr uint8_t LOGIN_CONTINUE = 0x40;
constexpr uint8_t STAGE_OPERATIONAL = 1;
constexpr uint8_t STAGE_FULL_FEATURE = 3;
constexpr uint8_t COMMAND_READ = 0x40;
constexpr uint8_t COMMAND_WRITE = 0x20;
constexpr uint8_t RESIDUAL_OVERFLOW = 0x04;
constexpr uint8_t RESIDUAL_UNDERFLOW = 0x02;

// Status class and detail of a login.
constexpr uint8_t INITIATOR_ERROR = 2;
constexpr uint8_t DETAIL_ERROR = 0;
constexpr uint8_t DETAIL_NOT_FOUND = 3;
constexpr uint8_t DETAIL_MISSING_PARAMETER = 7;
constexpr uint8_t DETAIL_NO_SESSION = 10;

// Why a unit is rejected.
constexpr uint8_t REASON_PROTOCOL = 0x04;
constexpr uint8_t REASON_NOT_SUPPORTED = 0x05;

constexpr const char* PORTAL_GROUP = "1";

}  // namespace

Connection::Connection(ostrel::core::FileDescriptor socket, scsi::SatDevice& device, TargetIdentity identity,
                       uint16_t sessionHandle)
    : socket_(std::move(socket)), device_(device), identity_(std::move(identity)), sessionHandle_(sessionHandle) {}

bool Connection::wantsToRead() const {
    return !isClosing_ && !isOver_ && out_.size() - sent_ < MAX_WAITING_BYTES;
}

bool Connection::isWaitingForHost() const {
    return !in_.empty() || !out_.empty() ||
           std::any_of(tasks_.begin(), tasks_.end(), [](const auto& each) { return each.second.isFetching; });
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
        Pdu pdu;
        const Parse parse = parsePdu(in_.data() + at, in_.size() - at, pdu);
        if (parse == Parse::INCOMPLETE) break;
        if (parse == Parse::ERROR) {
            isOver_ = true;  // nothing can be said to a host whose units have no end
            break;
        }
        take(pdu);
        at += pdu.totalBytes;
    }
    in_.erase(in_.begin(), in_.begin() + static_cast<std::ptrdiff_t>(at));
}

/// Of commands that are not immediate CmdSN counts; one out of turn is dropped, as the standard wants it.
bool Connection::acceptNumber(const Header& header) {
    if (header.isImmediate()) return true;
    if (header.number(AT_COMMAND_SN) != expCmdSn_) return false;
    ++expCmdSn_;
    return true;
}

void Connection::take(const Pdu& pdu) {
    const Header& header = pdu.header;
    const uint8_t opcode = header.opcode();
    if (!isLoggedIn_) return opcode == LOGIN_REQUEST ? takeLogin(pdu) : closeNow();
    if (opcode == DATA_OUT) return takeData(pdu);
    if (opcode == LOGIN_REQUEST || opcode > LOGOUT_REQUEST) return reject(pdu, REASON_NOT_SUPPORTED);
    const bool isAllowed =
        !parameters_.isDiscovery || opcode == TEXT_REQUEST || opcode == LOGOUT_REQUEST || opcode == NOP_OUT;
    if (!isAllowed) return reject(pdu, REASON_PROTOCOL);
    if (!acceptNumber(header)) return;
    switch (opcode) {
        case NOP_OUT:
            return takeNop(pdu);
        case SCSI_COMMAND:
            return takeCommand(pdu);
        case TASK_REQUEST:
            return takeTaskRequest(header);
        case TEXT_REQUEST:
            return takeText(pdu);
        default:
            return takeLogout(header);
    }
}

void Connection::number(Header& header, bool hasStatus) {
    header.setNumber(AT_STAT_SN, hasStatus ? statSn_++ : statSn_);
    header.setNumber(AT_EXP_COMMAND_SN, expCmdSn_);
    const auto waiting = static_cast<uint32_t>(std::min<size_t>(tasks_.size(), MAX_TASKS));
    header.setNumber(AT_MAX_COMMAND_SN, expCmdSn_ + MAX_TASKS - waiting - 1);
}

void Connection::reject(const Pdu& pdu, uint8_t reason) {
    Header header(REJECT, FINAL);
    header.setByte(2, reason);
    header.setNumber(AT_TASK_TAG, NO_TAG);
    number(header, true);
    putPdu(out_, header, pdu.header.bytes().data(), HEADER_BYTES);
    isClosing_ = true;
}

void Connection::failLogin(const Header& request, uint8_t statusClass, uint8_t detail) {
    Header header(LOGIN_RESPONSE);
    header.copy(AT_ISID, request.at(AT_ISID), ISID_BYTES);
    header.setNumber(AT_TASK_TAG, request.taskTag());
    number(header, true);
    header.setByte(AT_LOGIN_STATUS, statusClass);
    header.setByte(AT_LOGIN_STATUS + 1, detail);
    putPdu(out_, header);
    isClosing_ = true;
}

/// A new session of this target with what a login needs; otherwise it was refused.
bool Connection::isLoginValid(const Header& request) {
    if (request.shortNumber(AT_TSIH) != 0) {
        failLogin(request, INITIATOR_ERROR, DETAIL_NO_SESSION);
    } else if (parameters_.initiatorName.empty()) {
        failLogin(request, INITIATOR_ERROR, DETAIL_MISSING_PARAMETER);
    } else if (!parameters_.isDiscovery && parameters_.targetName != identity_.name) {
        const bool isNamed = !parameters_.targetName.empty();
        failLogin(request, INITIATOR_ERROR, isNamed ? DETAIL_NOT_FOUND : DETAIL_MISSING_PARAMETER);
    } else if (parameters_.isRejected) {
        failLogin(request, INITIATOR_ERROR, DETAIL_ERROR);
    } else {
        return true;
    }
    return false;
}

/// What this target says unasked: of which portal group it is, first of all, and how much it receives.
void Connection::declare(uint8_t stage, Keys& answers) {
    if (!hasNamedGroup_ && !parameters_.isDiscovery) answers.emplace_back("TargetPortalGroupTag", PORTAL_GROUP);
    hasNamedGroup_ = true;
    if (hasDeclared_ || stage != STAGE_OPERATIONAL) return;
    answers.emplace_back("MaxRecvDataSegmentLength", std::to_string(MAX_SEGMENT_BYTES));
    hasDeclared_ = true;
}

void Connection::takeLogin(const Pdu& pdu) {
    const Header& request = pdu.header;
    const auto keys = parseKeys({reinterpret_cast<const char*>(pdu.data), pdu.dataBytes});
    expCmdSn_ = request.number(AT_COMMAND_SN);  // a login is immediate: the first command has this number
    const uint8_t current = request.flags() >> 2 & 3;
    const uint8_t next = request.flags() & 3;
    const bool isTransit = (request.flags() & LOGIN_TRANSIT) != 0;
    const bool isPossible = keys && (request.flags() & LOGIN_CONTINUE) == 0 && current <= STAGE_OPERATIONAL &&
                            (!isTransit || (next > current && next != 2));
    if (!isPossible) return failLogin(request, INITIATOR_ERROR, DETAIL_ERROR);
    Keys answers = parameters_.negotiate(*keys);
    isid_.assign(reinterpret_cast<const char*>(request.at(AT_ISID)), ISID_BYTES);
    if (!isLoginValid(request)) return;
    declare(current, answers);
    isLoggedIn_ = isTransit && next == STAGE_FULL_FEATURE;
    Header header(LOGIN_RESPONSE, request.flags());
    header.copy(AT_ISID, request.at(AT_ISID), ISID_BYTES);
    if (isLoggedIn_) header.setShort(AT_TSIH, sessionHandle_);
    header.setNumber(AT_TASK_TAG, request.taskTag());
    number(header, true);
    const std::string text = keysText(answers);
    putPdu(out_, header, reinterpret_cast<const uint8_t*>(text.data()), text.size());
}

void Connection::takeText(const Pdu& pdu) {
    const auto keys = parseKeys({reinterpret_cast<const char*>(pdu.data), pdu.dataBytes});
    const bool isWhole = (pdu.header.flags() & FINAL) != 0;
    if (!keys || !isWhole) return reject(pdu, REASON_PROTOCOL);
    Keys answers;
    for (const auto& [key, value] : *keys) {
        const bool isOurs = value == "All" || value.empty() || value == identity_.name;
        if (key != "SendTargets") {
            answers.emplace_back(key, "NotUnderstood");
        } else if (isOurs) {
            answers.emplace_back("TargetName", identity_.name);
            answers.emplace_back("TargetAddress", identity_.address + "," + PORTAL_GROUP);
        }
    }
    Header header(TEXT_RESPONSE, FINAL);
    header.setNumber(AT_TASK_TAG, pdu.header.taskTag());
    header.setNumber(AT_TRANSFER_TAG, NO_TAG);
    number(header, true);
    const std::string text = keysText(answers);
    putPdu(out_, header, reinterpret_cast<const uint8_t*>(text.data()), text.size());
}

void Connection::takeNop(const Pdu& pdu) {
    if (pdu.header.taskTag() == NO_TAG) return;  // wants no answer
    Header header(NOP_IN, FINAL);
    header.copy(8, pdu.header.at(8), 8);
    header.setNumber(AT_TASK_TAG, pdu.header.taskTag());
    header.setNumber(AT_TRANSFER_TAG, NO_TAG);
    number(header, true);
    putPdu(out_, header, pdu.data, std::min(pdu.dataBytes, parameters_.hostSegmentBytes));
}

void Connection::takeLogout(const Header& request) {
    Header header(LOGOUT_RESPONSE, FINAL);
    header.setNumber(AT_TASK_TAG, request.taskTag());
    tasks_.clear();
    number(header, true);
    putPdu(out_, header);
    isClosing_ = true;
}

void Connection::takeTaskRequest(const Header& request) {
    constexpr uint8_t ABORT_TASK = 1;
    constexpr uint8_t REASSIGN = 8;
    constexpr uint8_t COMPLETE = 0;
    constexpr uint8_t NO_TASK = 1;
    constexpr uint8_t NO_LUN = 2;
    constexpr uint8_t NO_REASSIGNMENT = 4;
    constexpr uint8_t NOT_SUPPORTED = 5;
    const uint8_t function = request.flags() & 0x7F;
    uint8_t response = COMPLETE;
    if (function == 0 || function > REASSIGN) {
        response = NOT_SUPPORTED;
    } else if (function == REASSIGN) {
        response = NO_REASSIGNMENT;
    } else if (request.lun() != 0) {
        response = NO_LUN;
    } else if (function == ABORT_TASK) {
        response = tasks_.erase(request.number(AT_REFERENCED_TAG)) != 0 ? COMPLETE : NO_TASK;
    } else {
        tasks_.clear();
    }
    Header header(TASK_RESPONSE, FINAL);
    header.setByte(2, response);
    header.setNumber(AT_TASK_TAG, request.taskTag());
    number(header, true);
    putPdu(out_, header);
}

void Connection::takeCommand(const Pdu& pdu) {
    const Header& header = pdu.header;
    const uint32_t tag = header.taskTag();
    const uint32_t expected = header.number(AT_EXPECTED_LENGTH);
    const bool isBoth = (header.flags() & COMMAND_READ) != 0 && (header.flags() & COMMAND_WRITE) != 0;
    // There is no immediate and no unsolicited data: neither was agreed on.
    const bool isPossible =
        tag != NO_TAG && tasks_.count(tag) == 0 && tasks_.size() < MAX_TASKS && !isBoth && pdu.dataBytes == 0;
    if (!isPossible) return reject(pdu, REASON_PROTOCOL);
    Task& task = tasks_.emplace(tag, Task{header}).first->second;
    const bool isWrite = (header.flags() & COMMAND_WRITE) != 0 && expected != 0;
    if (isWrite && expected > scsi::MAX_TRANSFER_BYTES) return respond(tag, device_.refuseTransfer(header.at(AT_CDB)));
    if (!isWrite) return run(tag);
    task.data.resize(expected);
    task.isFetching = true;
    requestData(tag, task);
}

void Connection::requestData(uint32_t tag, Task& task) {
    const auto left = static_cast<uint32_t>(task.data.size()) - task.received;
    const uint32_t wanted = std::min(left, parameters_.burstBytes);
    task.burstEnd = task.received + wanted;
    Header header(READY_TO_TRANSFER, FINAL);
    header.copy(8, task.header.at(8), 8);
    header.setNumber(AT_TASK_TAG, tag);
    header.setNumber(AT_TRANSFER_TAG, nextTransferTag_);
    number(header, false);
    header.setNumber(AT_DATA_SN, task.received / std::max(parameters_.burstBytes, 1U));
    header.setNumber(AT_BUFFER_OFFSET, task.received);
    header.setNumber(AT_DESIRED_LENGTH, wanted);
    task.transferTag = nextTransferTag_;
    if (++nextTransferTag_ == NO_TAG) nextTransferTag_ = 1;
    putPdu(out_, header);
}

void Connection::takeData(const Pdu& pdu) {
    const auto found = tasks_.find(pdu.header.taskTag());
    if (found == tasks_.end()) return;  // of a task that was aborted
    Task& task = found->second;
    const bool isExpected = task.isFetching && pdu.header.number(AT_TRANSFER_TAG) == task.transferTag &&
                            pdu.header.number(AT_BUFFER_OFFSET) == task.received && pdu.dataBytes != 0 &&
                            pdu.dataBytes <= task.burstEnd - task.received;
    if (!isExpected) return reject(pdu, REASON_PROTOCOL);
    std::copy_n(pdu.data, pdu.dataBytes, task.data.begin() + task.received);
    task.received += pdu.dataBytes;
    const bool isLast = (pdu.header.flags() & FINAL) != 0;
    if (isLast != (task.received == task.burstEnd)) return reject(pdu, REASON_PROTOCOL);
    if (!isLast) return;
    if (task.received < task.data.size()) return requestData(found->first, task);
    task.isFetching = false;
    run(found->first);
}

void Connection::run(uint32_t tag) {
    Task& task = tasks_.at(tag);
    const uint32_t expected = task.header.number(AT_EXPECTED_LENGTH);
    Answer answer = device_.execute(task.header.lun(), task.header.at(AT_CDB), task.data, expected);
    switch (answer.delivery) {
        case Answer::Delivery::NEVER:
            return;  // until the host aborts it
        case Answer::Delivery::BUSY:
            task.dueMs = net::nowMs() + answer.delayMs;
            return;
        case Answer::Delivery::COMPLETED:
            break;
    }
    if (answer.delayMs == 0) return respond(tag, std::move(answer));
    task.dueMs = net::nowMs() + answer.delayMs;
    task.answer = std::move(answer);
}

void Connection::serveDue(uint64_t nowMs) {
    std::vector<uint32_t> due;
    for (const auto& [tag, task] : tasks_) {
        if (task.dueMs && *task.dueMs <= nowMs) due.push_back(tag);
    }
    for (const uint32_t tag : due) {
        Task& task = tasks_.at(tag);
        task.dueMs.reset();
        if (task.answer) {
            respond(tag, *std::move(task.answer));
        } else {
            run(tag);
        }
    }
}

uint64_t Connection::nextDueMs() const {
    uint64_t next = UINT64_MAX;
    for (const auto& [tag, task] : tasks_) next = std::min(next, task.dueMs.value_or(UINT64_MAX));
    return next;
}

/// In units that the host takes, each burst with its final one. Returns how many.
uint32_t Connection::sendData(const Header& request, const Bytes& data) {
    uint32_t dataSn = 0;
    for (size_t at = 0; at < data.size();) {
        const size_t burstEnd =
            std::min<size_t>(data.size(), (at / parameters_.burstBytes + 1) * parameters_.burstBytes);
        const size_t count = std::min<size_t>(parameters_.hostSegmentBytes, burstEnd - at);
        Header header(DATA_IN, at + count == burstEnd ? FINAL : uint8_t{0});
        header.copy(8, request.at(8), 8);
        header.setNumber(AT_TASK_TAG, request.taskTag());
        header.setNumber(AT_TRANSFER_TAG, NO_TAG);
        number(header, false);
        header.setNumber(AT_STAT_SN, 0);  // there is no status in it
        header.setNumber(AT_DATA_SN, dataSn++);
        header.setNumber(AT_BUFFER_OFFSET, static_cast<uint32_t>(at));
        putPdu(out_, header, data.data() + at, count);
        at += count;
    }
    return dataSn;
}

void Connection::respond(uint32_t tag, Answer answer) {
    const Header request = tasks_.at(tag).header;
    tasks_.erase(tag);
    const uint32_t expected = request.number(AT_EXPECTED_LENGTH);
    const bool isRead = (request.flags() & COMMAND_READ) != 0;
    const uint32_t room = isRead ? expected : 0;
    Bytes data = std::move(answer.data);
    const auto wanted = static_cast<uint32_t>(data.size());
    data.resize(std::min(wanted, room));
    const uint32_t units = sendData(request, data);
    Header header(SCSI_RESPONSE, FINAL);
    if (wanted > room) {
        header.setByte(1, FINAL | RESIDUAL_OVERFLOW);
        header.setNumber(AT_RESIDUAL, wanted - room);
    } else if (wanted < room) {
        header.setByte(1, FINAL | RESIDUAL_UNDERFLOW);
        header.setNumber(AT_RESIDUAL, room - wanted);
    }
    header.setByte(3, answer.status);
    header.setNumber(AT_TASK_TAG, tag);
    number(header, true);
    header.setNumber(AT_DATA_SN, units);
    Bytes sense;
    if (!answer.sense.empty()) {
        sense = {static_cast<uint8_t>(answer.sense.size() >> 8), static_cast<uint8_t>(answer.sense.size())};
        sense.insert(sense.end(), answer.sense.begin(), answer.sense.end());
    }
    putPdu(out_, header, sense.data(), sense.size());
}

}  // namespace simdrive::iscsi
