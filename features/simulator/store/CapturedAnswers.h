#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace features::simulator {

/// A command that reads, without what only says how much is wanted and where the answer goes: with equal values the
/// same structure is meant.
struct CapturedCommand {
    uint8_t opcode = 0;
    /// NVMe: NSID and dwords 10, 11 and 14. ATA: FEATURE, log address.
    std::array<uint32_t, 4> fields{};

    bool operator<(const CapturedCommand& other) const {
        return opcode != other.opcode ? opcode < other.opcode : fields < other.fields;
    }
};

/// What the drive answered.
struct CapturedAnswer {
    uint16_t status = 0;        ///< NVMe: status field. ATA: register ERROR, and STATUS in bits 15:8
    uint64_t result = 0;        ///< NVMe: dword 0. ATA: LBA, and COUNT in bits 63:48
    std::vector<uint8_t> data;  ///< from its beginning
};

/// What a drive answered to all that a capture asked, held in memory; CaptureFolder.h has it as files.
///
/// Threads: a constant one from any.
class CapturedAnswers {
public:
    using Answers = std::map<CapturedCommand, CapturedAnswer>;

    // Far more than drives have. They bound what a capture that is not ours can make a process hold.
    static constexpr size_t MAX_ANSWERS = 8192;
    static constexpr size_t MAX_ANSWER_BYTES = size_t{16} << 20;
    static constexpr size_t MAX_BYTES = size_t{256} << 20;

    /// Null: the capture did not ask for it.
    const CapturedAnswer* find(const CapturedCommand& command) const;
    /// Whether it fits the bounds above with so many bytes more.
    bool hasRoom(size_t bytes) const { return answers.size() < MAX_ANSWERS && bytes <= MAX_BYTES - totalBytes(); }
    size_t totalBytes() const;

    bool isSata = false;
    bool isMasked = false;
    Answers answers;
};

/// The command of an NVMe Identify, Get Log Page, Get Features or Security Receive; empty: another admin command.
std::optional<CapturedCommand> capturedCommand(uint8_t opcode, uint32_t nsid, uint32_t cdw10, uint32_t cdw11,
                                               uint32_t cdw14);
/// For people: "Get Log Page 0x02".
std::string capturedName(const CapturedCommand& command, bool isSata);

}  // namespace features::simulator
