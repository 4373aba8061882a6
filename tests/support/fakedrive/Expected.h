#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "features/ata/AtaCommand.h"
#include "features/ata/AtaResult.h"
#include "features/nvme/NvmeCommand.h"
#include "features/transport/HostCommand.h"
#include "ostrel/core/CommandResult.h"
#include "ostrel/core/Payload.h"
#include "ostrel/core/Status.h"
#include "tests/support/fakedrive/DriveBytes.h"

namespace fakedrive {

/// One command that a test expects, whole, and what the drive answers. What is not said is zero: every dword counts,
/// and so do the length of the data and each byte of data to the drive. The time-out counts when it is said.
///
///     Expected::admin(0x09).dword(10, 0x80000008).dword(11, 0x0A05).completes()
///     Expected::admin(0x02).nsid(0xFFFFFFFF).dword(10, 0x007F0002).reads(512).answers(smartLog())
///     logPage(0x02, 512).refuses(0x4109)
///     Expected::ata(0x2F, Protocol::PIO_IN, Addressing::BITS_48).lba(0x04).count(1).answers(statistics())
///     Expected::host(HostRequest::RESET_CONTROLLER).breaks(Status(1, 19, "gone"))
class Expected {
public:
    static Expected admin(uint8_t opcode);
    static Expected io(uint8_t opcode);
    static Expected ata(uint8_t opcode, features::ata::Protocol protocol, features::ata::Addressing addressing);
    static Expected host(features::transport::HostRequest request);

    Expected& nsid(uint32_t value);
    /// Command dword `number`: 2, 3, or 10 to 15.
    Expected& dword(unsigned number, uint32_t value);
    Expected& feature(uint16_t value);
    Expected& count(uint16_t value);
    Expected& lba(uint64_t value);
    Expected& device(uint8_t value);
    /// The command asks for the registers of a success.
    Expected& wantsRegisters();
    Expected& reads(uint32_t bytes);
    /// Metadata beside the data.
    Expected& metadata(uint32_t bytes);
    Expected& writes(const DriveBytes& bytes);
    Expected& timeoutMs(uint32_t value);

    /// Success, with data; unless reads() said otherwise, as much as was asked for.
    Expected& answers(const DriveBytes& bytes, uint32_t dword0 = 0);
    /// Success, without data of note.
    Expected& completes(uint32_t dword0 = 0);
    /// The drive's refusal: type and code in the low 11 bits, Do Not Retry 4000h.
    Expected& refuses(uint16_t statusField, uint32_t dword0 = 0);
    /// The registers of a SATA drive at the end; a failure when STATUS says so.
    Expected& returns(const features::ata::Registers& registers);
    /// A SATA drive's failure with STATUS 51h and this ERROR.
    Expected& aborts(uint8_t error = features::ata::ERROR_ABORT);
    /// A success that brings no registers, or a failure without those that count.
    Expected& lacksRegisters(features::ata::RegistersMissing missing, bool succeeded = true);
    /// A transport error: the drive was not reached, or its answer was not.
    Expected& breaks(const ostrel::core::Status& status);
    /// The host's answer.
    Expected& reports(std::vector<features::transport::HostNamespace> namespaces);
    Expected& reports(features::transport::HostLocation location);
    /// Called when the command arrives, before it is answered.
    Expected& then(std::function<void()> action);

    /// Everything that the drive would see, line by line.
    std::string text() const;
    static std::string text(const features::nvme::NvmeCommand& command, const ostrel::core::Payload& toController,
                            bool withTimeout);
    static std::string text(const features::ata::AtaCommand& command, const ostrel::core::Payload& toDrive,
                            bool withTimeout);
    static std::string text(const features::transport::HostCommand& command, bool withTimeout);
    /// Whether the time-out is part of text().
    bool hasTimeout() const { return timeoutMs_.has_value(); }

    /// Gives the answer.
    void answer(ostrel::core::CommandResult& result) const;

private:
    explicit Expected(features::nvme::NvmeCommand command) : nvme_(std::move(command)) {}
    explicit Expected(features::ata::AtaCommand command) : ata_(std::move(command)) {}
    explicit Expected(features::transport::HostCommand command) : host_(std::move(command)) {}

    features::nvme::NvmeCommand& nvme();
    features::ata::AtaCommand& ata();
    uint32_t& dataLength();

    std::optional<features::nvme::NvmeCommand> nvme_;
    std::optional<features::ata::AtaCommand> ata_;
    std::optional<features::transport::HostCommand> host_;
    std::optional<uint32_t> timeoutMs_;
    DriveBytes written_;
    DriveBytes data_;
    ostrel::core::Status transportStatus_;
    uint16_t statusField_ = 0;
    uint32_t dword0_ = 0;
    std::optional<features::ata::AtaResult> ataResult_;
    std::vector<features::transport::HostNamespace> namespaces_;
    features::transport::HostLocation location_;
    std::function<void()> action_;
};

/// Identify, 4,096 bytes.
Expected identify(uint8_t cns, uint32_t nsid = 0, uint16_t controllerId = 0);
/// Get Log Page of the whole controller, or of what `nsid` says.
Expected logPage(uint8_t lid, uint32_t bytes, uint64_t offset = 0, uint32_t nsid = 0xFFFFFFFF);
/// IDENTIFY DEVICE, 512 bytes.
Expected identifyAta();
/// READ LOG EXT.
Expected logExt(uint8_t address, uint16_t page = 0, uint16_t pages = 1);
/// A command of SMART without data, or with 512 bytes from the drive.
Expected smart(uint8_t subcommand);
Expected smartPage(uint8_t subcommand);
/// SMART READ LOG.
Expected smartLogPage(uint8_t address, uint8_t pages = 1);
/// Get Features. `select`: 0 current, 1 default, 2 saved, 3 capabilities.
Expected getFeature(uint8_t fid, uint8_t select = 0, uint32_t nsid = 0, uint32_t dataBytes = 0);
Expected setFeature(uint8_t fid, uint32_t dword11, bool save = false, uint32_t nsid = 0);
/// What the host reports of the namespaces, of their sizes, and of their uses.
Expected hostNamespaces(std::vector<features::transport::HostNamespace> namespaces);
Expected hostSizes(std::vector<features::transport::HostNamespace> namespaces);
Expected hostUses(std::vector<features::transport::HostNamespace> namespaces);
Expected hostLocation(features::transport::HostLocation location = {});
/// A namespace of 1 GiB in blocks of 512 bytes on /dev/nvme0nN, which is unused.
features::transport::HostNamespace unusedNamespace(uint32_t nsid);

}  // namespace fakedrive
