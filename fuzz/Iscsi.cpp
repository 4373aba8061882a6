// What a host sends to an iSCSI target with one simulated SATA drive: SCSI commands with any CDB, their data, any other
// units, and any bytes, after a login or without one.
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "features/simulator/sata/SataDrive.h"
#include "features/simulator/store/DriveFolder.h"
#include "fuzz/FuzzInput.h"
#include "fuzz/Require.h"
#include "fuzz/ScratchFolder.h"
#include "simdrive/iscsi/Pdu.h"
#include "simdrive/iscsi/Target.h"

namespace {

using namespace simdrive::iscsi;
using features::simulator::Description;
using features::simulator::sata::SataDrive;
using ostrel::core::FileDescriptor;
using Bytes = std::vector<uint8_t>;

constexpr unsigned MAX_STEPS = 32;
constexpr const char* NAME = "iqn.2026-01.com.velko.nimbrel:simulated:s1";

const ScratchFolder& scratch() {
    static const ScratchFolder folder;
    return folder;
}

Description description() {
    Description description;
    description.setModel(features::simulator::ModelId::SATA);
    description.serialNumber = "S1";
    description.sizeBytes = 1 << 20;
    description.shortSelfTestSeconds = description.extendedSelfTestSeconds = description.sanitizeSeconds = 0;
    return description;
}

/// The host's end of a connection.
class Host {
public:
    explicit Host(Target& target) : target_(target) {
        int sockets[2];
        REQUIRE(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, sockets) == 0);
        own_ = FileDescriptor(sockets[0]);
        target.adopt(FileDescriptor(sockets[1]), "host");
    }
    void login() {
        const std::string keys =
            std::string("InitiatorName=iqn.2026-01.com.example:h") + '\0' + "TargetName=" + NAME + '\0';
        Header header(LOGIN_REQUEST | IMMEDIATE, 0x87);
        put(header, Bytes(keys.begin(), keys.end()));
    }
    void put(const Header& header, const Bytes& data) {
        Bytes unit;
        putPdu(unit, header, data.data(), data.size());
        send(unit);
    }
    void send(const Bytes& bytes) {
        (void)::send(own_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);  // the target may have closed it
        turn();
    }
    void command(FuzzInput& input) {
        Header header(SCSI_COMMAND, static_cast<uint8_t>(FINAL | (input.byte() & 0x60)));
        header.setNumber(16, ++tag_);
        header.setNumber(20, input.dword() & 0x1FFFF);
        header.setNumber(24, number_++);
        for (size_t i = 0; i < 16; ++i) header.setByte(32 + i, input.byte());
        put(header, {});
    }

private:
    void turn() {
        for (int i = 0; i < 3; ++i) {
            const auto stopped = target_.turn(-1, 0);
            REQUIRE(stopped && !*stopped);
            receive();
        }
    }
    /// Every unit of the target is whole, and its R2T is answered.
    void receive() {
        uint8_t piece[65536];
        ssize_t count = 0;
        while ((count = ::recv(own_.get(), piece, sizeof piece, 0)) > 0) in_.insert(in_.end(), piece, piece + count);
        while (in_.size() >= HEADER_BYTES) {
            const Header header(in_.data());
            const uint32_t length = header.number(4) & 0xFFFFFF;
            const size_t total = HEADER_BYTES + (length + 3) / 4 * 4;
            REQUIRE((header.opcode() & 0x20) != 0 && length <= MAX_SEGMENT_BYTES);
            if (in_.size() < total) break;
            in_.erase(in_.begin(), in_.begin() + static_cast<std::ptrdiff_t>(total));
            if (header.opcode() == READY_TO_TRANSFER) answer(header);
        }
    }
    void answer(const Header& ready) {
        const uint32_t wanted = ready.number(44);
        for (uint32_t done = 0; done < wanted;) {
            const uint32_t size = std::min(wanted - done, MAX_SEGMENT_BYTES);
            Header header(DATA_OUT, done + size == wanted ? FINAL : uint8_t{0});
            header.setNumber(16, ready.taskTag());
            header.setNumber(20, ready.number(20));
            header.setNumber(40, ready.number(40) + done);
            Bytes unit;
            const Bytes data(size, 0x5A);
            putPdu(unit, header, data.data(), data.size());
            (void)::send(own_.get(), unit.data(), unit.size(), MSG_NOSIGNAL);
            done += size;
        }
    }

    Target& target_;
    FileDescriptor own_;
    Bytes in_;
    uint32_t tag_ = 0;
    uint32_t number_ = 0;
};

void step(Host& host, FuzzInput& input) {
    switch (input.byte() % 4) {
        case 0: {  // a unit with any header
            Header header;
            for (size_t i = 0; i < HEADER_BYTES; ++i) header.setByte(i, input.byte());
            Bytes data(input.byte());
            for (uint8_t& byte : data) byte = input.byte();
            header.setByte(4, 0);
            return host.put(header, data);
        }
        case 1: {
            Bytes bytes(input.byte());
            for (uint8_t& byte : bytes) byte = input.byte();
            return host.send(bytes);
        }
        default:
            return host.command(input);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const features::simulator::ManualClock clock(1795197600000);
    FuzzInput input(data, size);
    scratch().clear();
    scratch().write(features::simulator::FILE_DESCRIPTION, description().toText());
    SataDrive drive(scratch().path(), clock);
    Target target(drive, NAME);
    {
        Host host(target);
        if ((input.byte() & 1) == 0) host.login();
        for (unsigned steps = 0; steps < MAX_STEPS && !input.isEmpty(); ++steps) step(host, input);
    }
    // Whatever came, the drive is whole.
    REQUIRE(drive.describe());
    return 0;
}
