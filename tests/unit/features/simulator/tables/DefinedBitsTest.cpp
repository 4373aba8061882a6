#include <algorithm>
#include <cstddef>
#include <iterator>
#include <set>
#include <tuple>

#include "features/simulator/controller/Dispatch.h"
#include "features/simulator/controller/StateCheck.h"
#include "features/simulator/store/DriveFolder.h"
#include "features/simulator/store/Media.h"
#include "features/simulator/store/Model.h"
#include "features/simulator/tables/ModelTables.h"
#include "tests/unit/features/simulator/SimulatedDrive.h"

using namespace features::simulator;

namespace {

/// Commands in a transaction that is never saved: some thousands of them take no time.
class DefinedBitsOfASimulatedDrive : public SimulatedDrive {
protected:
    void open() {
        open_ = std::make_unique<DriveFolder>(path(), impossibleIn);
        ASSERT_TRUE(succeeded(open_->begin()));
        media_ = std::make_unique<Media>(*open_);
    }
    CommandContext contextOf(const SubmissionEntry& command) {
        const Description& own = open_->description();
        return CommandContext{
            command, data,     own, modelOf(own.model), tablesOf(own.model), open_->state, *media_, *open_, work_,
            held_,   START_MS, {}};
    }
    std::unique_ptr<DriveFolder> open_;
    std::unique_ptr<Media> media_;
    WorkCounters work_;
    uint32_t held_ = 0;
};

using Dwords = std::array<uint32_t, 6>;  // 10 to 15
constexpr uint32_t ALL = 0xFFFFFFFF;

// clang-format off
const struct {
    bool isAdmin;
    uint8_t opcode;
    bool usesNsid;
    Dwords defined;
} COMMANDS[] = {
    {true,  0x02, true,  {ALL, ALL, ALL, ALL, 0x7F, 0}},         // Get Log Page
    {true,  0x06, true,  {0xFFFF00FF, 0xFFFF, 0, 0, 0x7F, 0}},   // Identify: CNTID, CNS; NVMSETID; UUID Index
    {true,  0x08, false, {ALL, 0, 0, 0, 0, 0}},                  // Abort
    {true,  0x09, true,  {0x800000FF, ALL, ALL, ALL, 0x7F, ALL}},  // Set Features: SV, FID
    {true,  0x0A, true,  {0x7FF, ALL, 0, 0, 0x7F, 0}},           // Get Features: SEL, FID
    {true,  0x0C, false, {0, 0, 0, 0, 0, 0}},                    // Asynchronous Event Request
    {true,  0x0D, true,  {0xF, 0xFF000000, 0, 0, 0, 0}},         // Namespace Management: SEL; CSI
    {true,  0x10, false, {0x8000003F, 0, 0, 0, 0, 0}},           // Firmware Commit: BPID, CA, FS
    {true,  0x11, false, {ALL, ALL, 0, 0, 0, 0}},                // Firmware Image Download
    {true,  0x14, true,  {0xF, 0, 0, 0, 0, 0}},                  // Device Self-test
    {true,  0x15, true,  {0xF, 0, 0, 0, 0, 0}},                  // Namespace Attachment
    {true,  0x18, false, {0, 0, 0, 0, 0, 0}},                    // Keep Alive
    {true,  0x80, true,  {0xFFF, 0, 0, 0, 0, 0}},                // Format NVM
    {true,  0x84, false, {0x3FF, ALL, 0, 0, 0, 0}},              // Sanitize; Overwrite Pattern
    {true,  0xC0, false, {0x1, 0, 0, 0, 0, 0}},                  // Force Flush
    {false, 0x00, true,  {0, 0, 0, 0, 0, 0}},                    // Flush
    {false, 0x01, true,  {ALL, ALL, 0xFC00FFFF, 0xFF, 0, 0}},    // Write: LR, FUA, PRINFO, NLB; DSM
    {false, 0x02, true,  {ALL, ALL, 0xFC00FFFF, 0xFF, 0, 0}},    // Read
    {false, 0x05, true,  {ALL, ALL, 0xFC00FFFF, 0, 0, 0}},       // Compare
    {false, 0x08, true,  {ALL, ALL, 0xFE00FFFF, 0, 0, 0}},       // Write Zeroes: and DEAC
    {false, 0x09, true,  {0xFF, 0x7, 0, 0, 0, 0}},               // Dataset Management: NR; AD, IDW, IDR
};
// clang-format on

TEST_F(DefinedBitsOfASimulatedDrive, AreThoseOfEachCommand) {
    const DriveTables& tables = tablesOf(description.model);
    const auto isOfDrive = [&](const CommandRow& row) {
        return findCommand(tables, description, row.isAdmin, row.opcode) == &row;
    };
    ASSERT_EQ(std::count_if(tables.commands.begin(), tables.commands.end(), isOfDrive),
              std::ptrdiff_t{std::size(COMMANDS)});
    for (const auto& c : COMMANDS) {
        const CommandRow* row = findCommand(tables, description, c.isAdmin, c.opcode);
        SCOPED_TRACE((c.isAdmin ? "admin " : "I/O ") + std::to_string(c.opcode));
        ASSERT_NE(row, nullptr);
        EXPECT_EQ(row->usesNsid, c.usesNsid);
        const DefinedBits& bits = row->bits;
        EXPECT_EQ((Dwords{bits.cdw10, bits.cdw11, bits.cdw12, bits.cdw13, bits.cdw14, bits.cdw15}), c.defined);
    }
}

TEST_F(DefinedBitsOfASimulatedDrive, ExcludeEachOtherBitOfEachCommand) {
    open();
    const struct {
        uint16_t byte;
        uint32_t SubmissionEntry::* dword;
    } DWORDS[] = {{4, &SubmissionEntry::nsid},   {8, &SubmissionEntry::cdw2},   {12, &SubmissionEntry::cdw3},
                  {40, &SubmissionEntry::cdw10}, {44, &SubmissionEntry::cdw11}, {48, &SubmissionEntry::cdw12},
                  {52, &SubmissionEntry::cdw13}, {56, &SubmissionEntry::cdw14}, {60, &SubmissionEntry::cdw15}};
    for (const auto& c : COMMANDS) {
        for (size_t i = 0; i < std::size(DWORDS); ++i) {
            const uint32_t defined = i == 0 ? (c.usesNsid ? ALL : 0) : i < 3 ? 0 : c.defined[i - 3];
            for (unsigned bit = 0; bit < 32; ++bit) {
                if ((defined >> bit & 1) != 0) continue;
                SubmissionEntry command;
                command.isAdmin = c.isAdmin;
                command.opcode = c.opcode;
                command.nsid = c.usesNsid ? 1 : 0;
                command.*DWORDS[i].dword |= 1U << bit;
                CommandContext context = contextOf(command);
                EXPECT_EQ(runCommand(context).statusField, 0x4002)
                    << int{c.opcode} << " byte " << DWORDS[i].byte << " bit " << bit;
                EXPECT_EQ(context.parameterLocation, (DWORDS[i].byte + bit / 8) | bit % 8 << 8);
            }
        }
    }
}

// clang-format off
const struct {
    ModelId model;
    uint8_t fid;
    uint32_t defined;  ///< of dword 11; there are none in the others
} FEATURES[] = {
    {ModelId::VELKO, 0x01, 0xFFFFFF07}, {ModelId::VELKO, 0x02, 0xFF},     {ModelId::VELKO, 0x04, 0x3FFFFF},
    {ModelId::VELKO, 0x05, 0x1FFFF},    {ModelId::VELKO, 0x06, 0x1},      {ModelId::VELKO, 0x07, ALL},
    {ModelId::VELKO, 0x08, 0xFFFF},     {ModelId::VELKO, 0x09, 0x1FFFF},  {ModelId::VELKO, 0x0A, 0x1},
    {ModelId::VELKO, 0x0B, 0xFFF},      {ModelId::VELKO, 0x0C, 0x1},      {ModelId::VELKO, 0x0E, 0},
    {ModelId::VELKO, 0x0F, ALL},        {ModelId::VELKO, 0x10, ALL},      {ModelId::VELKO, 0x11, 0x1},
    {ModelId::VELKO, 0x16, 0},          {ModelId::VELKO, 0x17, 0x1},      {ModelId::VELKO, 0x80, 0xFF},
    {ModelId::VELKO, 0x81, 0x1},        {ModelId::VELKO, 0x84, 0x7},
    {ModelId::VELKO, 0xC1, 0},          {ModelId::VELKO, 0xC2, 0},        {ModelId::VELKO, 0xC6, 0x3},
    {ModelId::VELKO, 0xC8, 0x3FF},      {ModelId::VELKO, 0xC9, 0x1FFFFFF}, {ModelId::VELKO, 0xCB, 0x1},
    {ModelId::VELKO, 0xD5, 0x1},        {ModelId::VELKO, 0xD9, 0x1},      {ModelId::VELKO, 0xE2, 0x1},
    {ModelId::VELKO, 0xE3, 0x1},
    {ModelId::OCP,   0xC0, 0x7F},       {ModelId::OCP,   0xC1, 0x80000000}, {ModelId::OCP, 0xC2, 0xC0000000},
    {ModelId::OCP,   0xC3, 0x80000000}, {ModelId::OCP,   0xC4, 0x80000000}, {ModelId::OCP, 0xC5, 0},
    {ModelId::OCP,   0xC6, 0xFFFF0000}, {ModelId::OCP,   0xC7, 0x7F},
    {ModelId::OCP_2_6, 0xC0, 0x7F},     {ModelId::OCP_2_6, 0xC2, 0xC0000000}, {ModelId::OCP_2_6, 0xC3, 0x80000000},
    {ModelId::OCP_2_6, 0xC4, 0x80000000}, {ModelId::OCP_2_6, 0xC5, 0},      {ModelId::OCP_2_6, 0xC6, 0xFFFF0000},
    {ModelId::OCP_2_6, 0xC7, 0x7F},     {ModelId::OCP_2_6, 0xC8, 0xFF},     {ModelId::OCP_2_6, 0xC9, 0x1},
    {ModelId::OCP_2_6, 0xCA, 0},
};
// clang-format on

TEST_F(DefinedBitsOfASimulatedDrive, AreThoseOfEachFeature) {
    std::set<std::tuple<ModelId, uint8_t>> known;
    for (const auto& c : FEATURES) {
        known.emplace(c.model, c.fid);
        const FeatureRow* row = findFeatureRow(tablesOf(c.model), c.fid);
        ASSERT_NE(row, nullptr) << int{c.fid};
        EXPECT_EQ(row->bits.cdw11, c.defined) << int{c.fid};
        EXPECT_EQ(row->bits.cdw12 | row->bits.cdw13 | row->bits.cdw15, 0U) << int{c.fid};
    }
    for (unsigned fid = 0; fid < 256; ++fid) {
        const auto number = static_cast<uint8_t>(fid);
        EXPECT_EQ(findFeatureRow(tablesOf(ModelId::VELKO), number) != nullptr,
                  known.count({ModelId::VELKO, number}) != 0)
            << fid;
        const bool isVendors = fid >= 0xC0;
        for (const ModelId model : {ModelId::OCP, ModelId::OCP_2_6}) {
            const bool isKnown = known.count({isVendors ? model : ModelId::VELKO, number}) != 0;
            EXPECT_EQ(findFeatureRow(tablesOf(model), number) != nullptr, isKnown) << fid;
        }
    }
}

TEST_F(DefinedBitsOfASimulatedDrive, ExcludeEachOtherBitOfASetFeature) {
    uint32_t SubmissionEntry::* const DWORDS[] = {&SubmissionEntry::cdw11, &SubmissionEntry::cdw12,
                                                  &SubmissionEntry::cdw13, &SubmissionEntry::cdw15};
    for (const ModelId model : {ModelId::VELKO, ModelId::OCP, ModelId::OCP_2_6}) {
        open_.reset();  // with its lock
        describe(model);
        open();
        for (const auto& c : FEATURES) {
            if (c.model != model || !findFeatureRow(tablesOf(model), c.fid)->isChangeable) continue;
            for (size_t i = 0; i < std::size(DWORDS); ++i) {
                for (unsigned bit = 0; bit < 32; ++bit) {
                    if (i == 0 && (c.defined >> bit & 1) != 0) continue;
                    SubmissionEntry command = admin(0x09, c.fid == 0x05 || c.fid == 0x84 ? 1 : 0, c.fid);
                    command.*DWORDS[i] = 1U << bit;
                    data.assign(4096, 0);
                    if (c.fid == 0x81) data[0] = 1;
                    const Bytes before = DriveFolder::stateBytes(open_->state, 1);
                    CommandContext context = contextOf(command);
                    EXPECT_EQ(runCommand(context).statusField, 0x4002) << int{c.fid} << " " << i << " bit " << bit;
                    EXPECT_EQ(DriveFolder::stateBytes(open_->state, 1), before);
                }
            }
        }
    }
}

}  // namespace
