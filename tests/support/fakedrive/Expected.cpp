#include "tests/support/fakedrive/Expected.h"

#include <sstream>
#include <stdexcept>
#include <utility>

#include "features/nvme/Completion.h"
#include "ostrel/core/Strings.h"

namespace fakedrive {

using features::ata::Addressing;
using features::ata::AtaCommand;
using features::ata::AtaResult;
using features::ata::Protocol;
using features::ata::Registers;
using features::ata::RegistersMissing;
using features::nvme::Completion;
using features::nvme::NvmeCommand;
using features::nvme::Queue;
using features::transport::HostCommand;
using features::transport::HostLocation;
using features::transport::HostNamespace;
using features::transport::HostRequest;
using features::transport::HostResult;
using ostrel::core::CommandResult;
using ostrel::core::Payload;
using ostrel::core::Status;

namespace {

constexpr struct {
    unsigned number;
    uint32_t NvmeCommand::* field;
} DWORDS[] = {
    {2, &NvmeCommand::cdw2},   {3, &NvmeCommand::cdw3},   {10, &NvmeCommand::cdw10}, {11, &NvmeCommand::cdw11},
    {12, &NvmeCommand::cdw12}, {13, &NvmeCommand::cdw13}, {14, &NvmeCommand::cdw14}, {15, &NvmeCommand::cdw15},
};

void addTimeout(std::ostringstream& out, uint32_t timeoutMs, bool withTimeout) {
    if (withTimeout) out << std::dec << "\ntime-out " << timeoutMs << " ms";
}

AtaResult successOf(const AtaCommand& command) {
    if (command.wantsRegisters) {
        Registers registers;
        registers.status = 0x50;
        return AtaResult(registers);
    }
    AtaResult result;
    result.succeeded = true;
    return result;
}

}  // namespace

Expected Expected::admin(uint8_t opcode) {
    return Expected(NvmeCommand(Queue::ADMIN, opcode, ""));
}

Expected Expected::io(uint8_t opcode) {
    return Expected(NvmeCommand(Queue::IO, opcode, ""));
}

Expected Expected::ata(uint8_t opcode, Protocol protocol, Addressing addressing) {
    return Expected(AtaCommand(opcode, protocol, addressing, ""));
}

Expected Expected::host(HostRequest request) {
    return Expected(HostCommand(request));
}

NvmeCommand& Expected::nvme() {
    if (!nvme_) throw std::logic_error("only an NVMe command has this field");
    return *nvme_;
}

AtaCommand& Expected::ata() {
    if (!ata_) throw std::logic_error("only an ATA command has this register");
    return *ata_;
}

uint32_t& Expected::dataLength() {
    if (host_) throw std::logic_error("a command to the host has no data");
    return ata_ ? ata_->dataLength : nvme_->dataLength;
}

Expected& Expected::nsid(uint32_t value) {
    nvme().nsid = value;
    return *this;
}

Expected& Expected::dword(unsigned number, uint32_t value) {
    for (const auto& dword : DWORDS) {
        if (dword.number == number) {
            nvme().*dword.field = value;
            return *this;
        }
    }
    throw std::logic_error("no dword of a command: " + std::to_string(number));
}

Expected& Expected::feature(uint16_t value) {
    ata().feature = value;
    return *this;
}

Expected& Expected::count(uint16_t value) {
    ata().count = value;
    return *this;
}

Expected& Expected::lba(uint64_t value) {
    ata().lba = value;
    return *this;
}

Expected& Expected::device(uint8_t value) {
    ata().device = value;
    return *this;
}

Expected& Expected::wantsRegisters() {
    ata().wantsRegisters = true;
    return *this;
}

Expected& Expected::reads(uint32_t bytes) {
    dataLength() = bytes;
    return *this;
}

Expected& Expected::metadata(uint32_t bytes) {
    nvme().metadataLength = bytes;
    return *this;
}

Expected& Expected::writes(const DriveBytes& bytes) {
    dataLength() = static_cast<uint32_t>(bytes.size());
    written_ = bytes;
    return *this;
}

Expected& Expected::timeoutMs(uint32_t value) {
    timeoutMs_ = value;
    return *this;
}

Expected& Expected::answers(const DriveBytes& bytes, uint32_t dword0) {
    if (dataLength() == 0) dataLength() = static_cast<uint32_t>(bytes.size());
    data_ = bytes;
    return completes(dword0);
}

Expected& Expected::completes(uint32_t dword0) {
    dword0_ = dword0;
    return *this;
}

Expected& Expected::refuses(uint16_t statusField, uint32_t dword0) {
    statusField_ = statusField;
    return completes(dword0);
}

Expected& Expected::returns(const Registers& registers) {
    ata();
    ataResult_ = AtaResult(registers);
    return *this;
}

Expected& Expected::aborts(uint8_t error) {
    Registers registers;
    registers.error = error;
    registers.status = 0x51;
    return returns(registers);
}

Expected& Expected::lacksRegisters(RegistersMissing missing, bool succeeded) {
    ata();
    ataResult_.emplace();
    ataResult_->succeeded = succeeded;
    ataResult_->missing = missing;
    return *this;
}

Expected& Expected::breaks(const Status& status) {
    transportStatus_ = status;
    return *this;
}

Expected& Expected::reports(std::vector<HostNamespace> namespaces) {
    namespaces_ = std::move(namespaces);
    return *this;
}

Expected& Expected::reports(HostLocation location) {
    location_ = std::move(location);
    return *this;
}

Expected& Expected::then(std::function<void()> action) {
    action_ = std::move(action);
    return *this;
}

std::string Expected::text() const {
    const uint32_t timeout = timeoutMs_.value_or(0);
    if (nvme_) {
        NvmeCommand command = *nvme_;
        command.timeoutMs = timeout;
        return text(command, written_.payload(), hasTimeout());
    }
    if (ata_) {
        AtaCommand command = *ata_;
        command.timeoutMs = timeout;
        return text(command, written_.payload(), hasTimeout());
    }
    HostCommand command = *host_;
    command.timeoutMs = timeout;
    return text(command, hasTimeout());
}

std::string Expected::text(const NvmeCommand& command, const Payload& toController, bool withTimeout) {
    std::ostringstream out;
    out << (command.queue == Queue::ADMIN ? "admin" : "I/O") << std::hex << " opcode " << int{command.opcode}
        << "h, NSID " << command.nsid << "h";
    for (const auto& dword : DWORDS) {
        if (command.*dword.field != 0)
            out << std::dec << "\ndword " << dword.number << ' ' << std::hex << command.*dword.field << 'h';
    }
    out << std::dec << "\ndata " << command.dataLength;
    if (command.metadataLength != 0) out << ", metadata " << command.metadataLength;
    // With a read it is the buffer of a caller who drops the data.
    const bool isWritten =
        toController.getSize() != 0 && command.transfer() != features::nvme::Transfer::FROM_CONTROLLER;
    if (isWritten) out << "\nwritten " << ostrel::core::hexDump(toController, 16);
    addTimeout(out, command.timeoutMs, withTimeout);
    return out.str();
}

std::string Expected::text(const AtaCommand& command, const Payload& toDrive, bool withTimeout) {
    constexpr const char* PROTOCOLS[] = {"non-data", "PIO in", "PIO out", "DMA in", "DMA out"};
    std::ostringstream out;
    out << PROTOCOLS[static_cast<size_t>(command.protocol)]
        << (command.addressing == Addressing::BITS_48 ? ", 48-bit" : ", 28-bit") << std::hex << ", command "
        << int{command.opcode} << "h, FEATURE " << command.feature << "h, COUNT " << command.count << "h, LBA "
        << command.lba << "h, DEVICE " << int{command.device} << 'h' << std::dec << "\ndata " << command.dataLength;
    if (command.wantsRegisters) out << ", registers";
    if (toDrive.getSize() != 0) out << "\nwritten " << ostrel::core::hexDump(toDrive, 16);
    addTimeout(out, command.timeoutMs, withTimeout);
    return out.str();
}

std::string Expected::text(const HostCommand& command, bool withTimeout) {
    constexpr const char* NAMES[] = {"NAMESPACES",      "SIZES",  "USES",       "LOCATION",    "RESET_CONTROLLER",
                                     "RESET_SUBSYSTEM", "RESCAN", "LOCK_DRIVE", "UNLOCK_DRIVE"};
    std::ostringstream out;
    out << "host " << NAMES[static_cast<size_t>(command.request)];
    addTimeout(out, command.timeoutMs, withTimeout);
    return out.str();
}

void Expected::answer(CommandResult& result) const {
    if (action_) action_();
    result.status = transportStatus_;
    if (failed(transportStatus_)) return;
    if (host_) {
        auto hostResult = std::make_unique<HostResult>(namespaces_);
        hostResult->location = location_;
        result.protocolResult = std::move(hostResult);
        return;
    }
    if (ata_) {
        result.protocolResult = std::make_unique<AtaResult>(ataResult_ ? *ataResult_ : successOf(*ata_));
    } else {
        result.protocolResult = std::make_unique<Completion>(statusField_, dword0_);
    }
    // A refused command brings no data, but a command that reads has its buffer, as the driver leaves it.
    const uint32_t length = ata_ ? ata_->dataLength : nvme_->dataLength;
    if (written_.size() != 0 || length == 0) return;
    result.inputPayload = data_.size() != 0 ? data_.payload() : DriveBytes(length).payload();
}

Expected identify(uint8_t cns, uint32_t nsid, uint16_t controllerId) {
    return Expected::admin(0x06).nsid(nsid).dword(10, cns | uint32_t{controllerId} << 16).reads(4096);
}

Expected logPage(uint8_t lid, uint32_t bytes, uint64_t offset, uint32_t nsid) {
    const uint32_t dwords0Based = bytes / 4 - 1;
    return Expected::admin(0x02)
        .nsid(nsid)
        .dword(10, lid | (dwords0Based & 0xFFFF) << 16)
        .dword(11, dwords0Based >> 16)
        .dword(12, static_cast<uint32_t>(offset))
        .dword(13, static_cast<uint32_t>(offset >> 32))
        .reads(bytes);
}

Expected identifyAta() {
    return Expected::ata(0xEC, Protocol::PIO_IN, Addressing::BITS_28).count(1).reads(512);
}

Expected logExt(uint8_t address, uint16_t page, uint16_t pages) {
    return Expected::ata(0x2F, Protocol::PIO_IN, Addressing::BITS_48)
        .lba(address | uint64_t{page} % 0x100 << 8 | uint64_t{page} / 0x100 << 32)
        .count(pages)
        .reads(pages * 512U);
}

Expected smart(uint8_t subcommand) {
    return Expected::ata(0xB0, Protocol::NON_DATA, Addressing::BITS_28).feature(subcommand).lba(0xC24F00);
}

Expected smartPage(uint8_t subcommand) {
    return Expected::ata(0xB0, Protocol::PIO_IN, Addressing::BITS_28)
        .feature(subcommand)
        .count(1)
        .lba(0xC24F00)
        .reads(512);
}

Expected smartLogPage(uint8_t address, uint8_t pages) {
    return Expected::ata(0xB0, Protocol::PIO_IN, Addressing::BITS_28)
        .feature(0xD5)
        .count(pages)
        .lba(0xC24F00U | address)
        .reads(pages * 512U);
}

Expected getFeature(uint8_t fid, uint8_t select, uint32_t nsid, uint32_t dataBytes) {
    return Expected::admin(0x0A).nsid(nsid).dword(10, fid | uint32_t{select} << 8).reads(dataBytes);
}

Expected setFeature(uint8_t fid, uint32_t dword11, bool save, uint32_t nsid) {
    return Expected::admin(0x09).nsid(nsid).dword(10, fid | uint32_t{save} << 31).dword(11, dword11);
}

Expected hostNamespaces(std::vector<HostNamespace> namespaces) {
    return Expected::host(HostRequest::NAMESPACES).reports(std::move(namespaces));
}

Expected hostSizes(std::vector<HostNamespace> namespaces) {
    return Expected::host(HostRequest::SIZES).reports(std::move(namespaces));
}

Expected hostUses(std::vector<HostNamespace> namespaces) {
    return Expected::host(HostRequest::USES).reports(std::move(namespaces));
}

Expected hostLocation(HostLocation location) {
    return Expected::host(HostRequest::LOCATION).reports(std::move(location));
}

HostNamespace unusedNamespace(uint32_t nsid) {
    HostNamespace space;
    space.nsid = nsid;
    space.node = "/dev/nvme0n" + std::to_string(nsid);
    space.sizeBytes = uint64_t{1} << 30;
    space.blockBytes = 512;
    return space;
}

}  // namespace fakedrive
