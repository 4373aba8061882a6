// What hosts send on up to three connections to a target with one simulated drive. The input says unit by unit what
// comes on which connection; digests are made right, so that it gets past them. Any bytes may come, too.
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "features/nvme/Bytes.h"
#include "features/nvme/Opcodes.h"
#include "features/simulator/controller/Controller.h"
#include "fuzz/FuzzInput.h"
#include "fuzz/Require.h"
#include "fuzz/ScratchFolder.h"
#include "simdrive/tcp/Pdu.h"
#include "simdrive/tcp/Target.h"

namespace {

using namespace features::nvme;
using namespace simdrive::tcp;
using features::simulator::Description;
using ostrel::core::FileDescriptor;
using Bytes = std::vector<uint8_t>;

constexpr unsigned MAX_STEPS = 64;
constexpr size_t CONNECTIONS = 3;
constexpr size_t ENTRY_BYTES = 64;
constexpr uint8_t FABRICS_CONNECT = 0x01;
constexpr const char* HOST_NQN = "nqn.2014-08.org.nvmexpress:uuid:11111111-2222-3333-4444-555555555555";

const ScratchFolder& scratch() {
    static const ScratchFolder folder;
    return folder;
}

/// The host's end of a connection: sends units, and checks those that it receives.
class HostEnd {
public:
    explicit HostEnd(FileDescriptor socket) : socket_(std::move(socket)) {}

    /// From now on nothing is known of which commands there are.
    void sendRaw(const Bytes& bytes) {
        isTracked_ = false;
        send(bytes);
    }
    void sendPdu(uint8_t type, const Bytes& specific, const Bytes& data, uint8_t flags = 0) {
        const bool isInitialized = type != PDU_IC_REQ;
        const bool headerDigest = isInitialized && hasHeaderDigest_;
        const bool dataDigest = isInitialized && hasDataDigest_ && !data.empty();
        const size_t header = 8 + specific.size();
        const size_t dataBegin = header + (headerDigest ? 4 : 0);
        const size_t total = dataBegin + data.size() + (dataDigest ? 4 : 0);
        Bytes unit = {
            type,
            static_cast<uint8_t>(flags | (headerDigest ? FLAG_HEADER_DIGEST : 0) | (dataDigest ? FLAG_DATA_DIGEST : 0)),
            static_cast<uint8_t>(header), static_cast<uint8_t>(data.empty() ? 0 : dataBegin)};
        put32(unit, static_cast<uint32_t>(total));
        unit.insert(unit.end(), specific.begin(), specific.end());
        if (headerDigest) put32(unit, crc32c(unit.data(), unit.size()));
        unit.insert(unit.end(), data.begin(), data.end());
        if (dataDigest) put32(unit, crc32c(data.data(), data.size()));
        send(unit);
    }
    void sendCommand(const Bytes& entry, const Bytes& data) {
        ++outstanding_[le16(entry.data() + 2)];
        sendPdu(PDU_CAPSULE_CMD, entry, data);
    }
    void close() { socket_ = FileDescriptor(); }

    /// Takes what has come, and checks every whole unit of it.
    void receive() {
        uint8_t piece[65536];
        while (socket_.isOpen()) {
            const ssize_t count = ::recv(socket_.get(), piece, sizeof piece, 0);
            if (count <= 0) break;
            received_.insert(received_.end(), piece, piece + count);
        }
        size_t at = 0;
        while (received_.size() - at >= 8) {
            const uint32_t total = le32(received_.data() + at + 4);
            REQUIRE(total >= 24);
            if (received_.size() - at < total) break;
            check(received_.data() + at, total);
            at += total;
        }
        received_.erase(received_.begin(), received_.begin() + static_cast<std::ptrdiff_t>(at));
    }

private:
    static void put32(Bytes& bytes, uint32_t value) {
        for (int i = 0; i < 4; ++i) bytes.push_back(static_cast<uint8_t>(value >> 8 * i));
    }

    void send(const Bytes& bytes) {
        if (!socket_.isOpen()) return;
        const ssize_t count = ::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count != static_cast<ssize_t>(bytes.size())) isTracked_ = false;  // the target does not read any more
    }

    void check(const uint8_t* unit, uint32_t total) {
        REQUIRE(!isTerminated_);
        const uint8_t flags = unit[1];
        const uint8_t header = unit[2];
        REQUIRE(header == (unit[0] == PDU_IC_RESP ? 128 : 24) && total >= header);
        if ((flags & FLAG_HEADER_DIGEST) != 0) REQUIRE(hasHeaderDigest_ && le32(unit + header) == crc32c(unit, header));
        switch (unit[0]) {
            case PDU_IC_RESP:
                REQUIRE(!std::exchange(isInitialized_, true));
                hasHeaderDigest_ = (unit[11] & 1) != 0;
                hasDataDigest_ = (unit[11] & 2) != 0;
                break;
            case PDU_C2H_TERM_REQ:
                REQUIRE(le16(unit + 8) != 0 && total <= 24 + 128);
                isTerminated_ = true;
                break;
            case PDU_CAPSULE_RESP:
                complete(le16(unit + 20));
                break;
            case PDU_C2H_DATA:
                REQUIRE(unit[3] >= header && unit[3] + le32(unit + 16) <= total);
                if ((flags & FLAG_DATA_DIGEST) != 0)
                    REQUIRE(le32(unit + total - 4) == crc32c(unit + unit[3], total - 4 - unit[3]));
                if ((flags & FLAG_SUCCESS) != 0) complete(le16(unit + 8));
                break;
            default:
                REQUIRE(unit[0] == PDU_R2T && le32(unit + 16) != 0);
        }
    }

    /// Each command is completed once.
    void complete(uint16_t commandId) {
        REQUIRE(isInitialized_);
        if (!isTracked_) return;
        const auto command = outstanding_.find(commandId);
        REQUIRE(command != outstanding_.end());
        if (--command->second == 0) outstanding_.erase(command);
    }

    FileDescriptor socket_;
    Bytes received_;
    std::map<uint16_t, unsigned> outstanding_;
    bool isTracked_ = true;
    bool isInitialized_ = false;
    bool isTerminated_ = false;
    bool hasHeaderDigest_ = false;
    bool hasDataDigest_ = false;
};

Bytes filled(FuzzInput& input, size_t size) {
    Bytes bytes(size);
    const size_t given = std::min<size_t>(input.byte(), size);
    for (size_t i = 0; i < given; ++i) bytes[i] = input.byte();
    return bytes;
}

/// An entry with the data pointer that most commands have.
Bytes entry(uint8_t opcode, uint8_t commandId, uint32_t nsid, uint32_t length, bool isInCapsule) {
    constexpr uint8_t SGL_IN_CAPSULE = 0x01;
    constexpr uint8_t SGL_TRANSPORT = 0x5A;
    Bytes bytes(ENTRY_BYTES);
    bytes[0] = opcode;
    bytes[1] = 0x40;
    bytes[2] = commandId;
    putLe32(bytes.data() + 4, nsid);
    putLe32(bytes.data() + 32, length);
    bytes[39] = isInCapsule ? SGL_IN_CAPSULE : SGL_TRANSPORT;
    return bytes;
}

void initialize(HostEnd& end, FuzzInput& input) {
    Bytes specific(120);
    specific[2] = input.byte() % 33;  // alignment: 32 is one too many
    specific[3] = input.byte() & 3;
    end.sendPdu(PDU_IC_REQ, specific, {});
}

void connectQueue(HostEnd& end, FuzzInput& input, const std::string& subsystem) {
    const uint8_t kind = input.byte();
    const bool isDiscovery = (kind & 1) != 0;
    const uint8_t queueId = kind >> 1 & 3;
    Bytes command = entry(OPC_FABRICS, input.byte(), FABRICS_CONNECT, 1024, true);
    command[42] = queueId;
    command[44] = 31;
    command[46] = (kind & 8) != 0 ? 4 : 0;  // without flow control
    Bytes data(1024);
    putLe16(data.data() + 16, queueId == 0 ? 0xFFFF : 1);
    const std::string name = isDiscovery ? DISCOVERY_NQN : subsystem;
    std::copy(name.begin(), name.end(), data.begin() + 256);
    std::copy_n(HOST_NQN, std::char_traits<char>::length(HOST_NQN), data.begin() + 512);
    if ((kind & 0x80) != 0) data[input.byte() * size_t{4}] ^= input.byte();
    end.sendCommand(command, data);
}

/// Property Set, of the Controller Configuration for the most part.
void setProperty(HostEnd& end, FuzzInput& input) {
    constexpr uint32_t CONFIGURATIONS[] = {0x00460001, 0x00460000, 0x00464001, 0x00460011, 0xFFFFFFFF, 0x4E564D65};
    Bytes command = entry(OPC_FABRICS, input.byte(), 0, 0, false);
    putLe32(command.data() + 44, input.byte() == 0 ? 0x20 : 0x14);
    putLe32(command.data() + 48, input.pick(CONFIGURATIONS));
    end.sendCommand(command, {});
}

void sendAnyCommand(HostEnd& end, FuzzInput& input) {
    constexpr uint8_t OPCODES[] = {OPC_IDENTIFY,
                                   OPC_GET_LOG_PAGE,
                                   OPC_ASYNCHRONOUS_EVENT_REQUEST,
                                   OPC_ABORT,
                                   OPC_KEEP_ALIVE,
                                   OPC_SET_FEATURES,
                                   OPC_GET_FEATURES,
                                   OPC_WRITE,
                                   OPC_READ,
                                   OPC_FLUSH,
                                   OPC_NAMESPACE_MANAGEMENT,
                                   OPC_FORMAT_NVM,
                                   OPC_FABRICS,
                                   OPC_COMPARE,
                                   OPC_FIRMWARE_IMAGE_DOWNLOAD};
    constexpr uint32_t LENGTHS[] = {0, 4096, 512, 8192, 65536, 16, 1 << 20, 0x200000};
    constexpr size_t MAX_IN_CAPSULE = 8192;
    const uint8_t opcode = input.pick(OPCODES);
    const uint8_t commandId = input.byte();
    const uint8_t nsid = input.byte();
    const uint32_t length = input.pick(LENGTHS);
    const uint8_t kind = input.byte();
    Bytes command = entry(opcode, commandId, nsid, length, (kind & 1) != 0);
    if ((kind & 2) != 0) command[input.byte() % ENTRY_BYTES] = input.byte();
    for (size_t i = 0; i < 3; ++i) {
        if ((kind >> (4 + i) & 1) != 0) putLe32(command.data() + 40 + 4 * i, input.dword());
    }
    const bool hasData = (kind & 1) != 0 && length <= MAX_IN_CAPSULE;
    end.sendCommand(command, hasData ? filled(input, length) : Bytes());
}

void sendData(HostEnd& end, FuzzInput& input) {
    constexpr uint32_t LENGTHS[] = {4096, 512, 8192, 65536, 0, 131072};
    Bytes specific(16);
    specific[0] = input.byte();
    specific[2] = 1;  // the transfer tag that the target uses
    putLe32(specific.data() + 4, input.byte() * 512U);
    const uint32_t length = input.pick(LENGTHS);
    putLe32(specific.data() + 8, length);
    const uint8_t flags = input.byte() & FLAG_LAST;
    end.sendPdu(PDU_H2C_DATA, specific, filled(input, length), flags);
}

class World {
public:
    World() : drive_(makeDrive(), clock_), target_(nullptr) {
        REQUIRE(succeeded(target_.listen(drive_, "127.0.0.1", 0)));
        int ends[2];
        REQUIRE(::pipe2(ends, O_CLOEXEC) == 0);
        never_ = FileDescriptor(ends[0]);
        writer_ = FileDescriptor(ends[1]);
    }
    ~World() {
        for (auto& host : hosts_) host.reset();
        turn();
        turn();
    }
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    void step(FuzzInput& input) {
        const uint8_t what = input.byte();
        HostEnd& host = hostOf(what / 8 % CONNECTIONS);
        switch (what % 8) {
            case 0:
                host.sendRaw(filled(input, input.byte()));
                break;
            case 1:
                initialize(host, input);
                break;
            case 2:
                connectQueue(host, input, target_.places()[0].subsystem);
                break;
            case 3:
                setProperty(host, input);
                break;
            case 4:
                sendData(host, input);
                break;
            case 5:
                host.close();
                turn();
                hosts_[what / 8 % CONNECTIONS].reset();
                break;
            default:
                sendAnyCommand(host, input);
        }
        turn();
        for (auto& each : hosts_) {
            if (each) each->receive();
        }
    }

private:
    static std::string makeDrive() {
        scratch().clear();
        Description description;
        description.serialNumber = "FUZZ";
        description.sizeBytes = 4 << 20;
        scratch().write(features::simulator::FILE_DESCRIPTION, description.toText());
        return scratch().path();
    }

    HostEnd& hostOf(size_t which) {
        if (!hosts_[which]) {
            int ends[2];
            REQUIRE(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends) == 0);
            target_.adopt(FileDescriptor(ends[0]), "192.0.2.1");
            hosts_[which].emplace(FileDescriptor(ends[1]));
        }
        return *hosts_[which];
    }
    void turn() {
        const auto isStopped = target_.turn(never_.get(), 0);
        REQUIRE(isStopped && !*isStopped);
    }

    features::simulator::ManualClock clock_{1600000000000};
    features::simulator::Controller drive_;
    Target target_;
    FileDescriptor never_;   ///< is never readable
    FileDescriptor writer_;  ///< its other end
    std::array<std::optional<HostEnd>, CONNECTIONS> hosts_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzInput input(data, size);
    World world;
    for (unsigned i = 0; i < MAX_STEPS && !input.isEmpty(); ++i) world.step(input);
    return 0;
}
