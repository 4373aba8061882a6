#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "features/nvme/Completion.h"
#include "features/nvme/NvmeCommand.h"
#include "features/transport/HostCommand.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/CommandPath.h"
#include "ostrel/core/CommandResult.h"
#include "simdrive/capture/DriveWalk.h"
#include "tests/support/StatusText.h"
#include "tests/support/fakedrive/DriveBytes.h"

namespace simdrive {
namespace {

using namespace fakedrive;
using namespace ostrel::core;
using features::nvme::Completion;
using features::nvme::NvmeCommand;

constexpr const char* PATH_NAME = "Answering";

/// A drive of the maker with OCP's features and namespaces 1 and 2, which has nearly all that can be offered, and
/// answers with zeros where a test has nothing to say.
DriveBytes answerOf(const NvmeCommand& command) {
    const auto what = static_cast<uint8_t>(command.cdw10);
    DriveBytes bytes(command.dataLength);
    if (command.opcode == 0x06 && what == 0x00) return identifyNamespace(4096).le16(100, 1).le16(102, 1);
    if (command.opcode == 0x06 && what == 0x01)
        return identifyController()
            .le32(80, 0x00020000)
            .le32(96, 0x000803B4)
            .le16(256, 0x009F)
            .byte(261, 0x2E)
            .byte(265, 1)
            .le16(520, 0x00FF)
            .byte(525, 1);
    if (command.opcode == 0x06 && (what == 0x02 || what == 0x10)) return namespaceList({1, 2});
    if (command.opcode == 0x02 && what == 0x00)
        for (const unsigned lid : {0x00U, 0x01U, 0x02U, 0x03U, 0x05U, 0x06U, 0x09U, 0x12U, 0xC0U, 0xC1U})
            bytes.byte(size_t{4} * lid, 1);
    if (command.opcode == 0x02 && what == 0x12)
        for (size_t fid = 0; fid < 256; ++fid) bytes.byte(4 * fid, 1);
    if (command.opcode == 0x02 && what == 0xC0)
        bytes.byte(494, 3).put(
            496, {0xC5, 0xAF, 0x10, 0x28, 0xEA, 0xBF, 0xF2, 0xA4, 0x9C, 0x4F, 0x6F, 0x7C, 0xC9, 0x14, 0xD5, 0xAF});
    if (command.opcode == 0x82 && command.cdw10 == 0) bytes.put(6, {0, 2, 0x00, 0x01});
    if (command.opcode == 0x82 && command.cdw10 != 0) bytes.byte(3, 44);
    return bytes;
}

/// What a test does to a command, by its number from 0: it returns true where it made the result.
using Fault = std::function<bool(size_t number, const NvmeCommand* command, CommandResult& result)>;

class AnsweringPath : public CommandPath {
public:
    AnsweringPath(std::shared_ptr<size_t> sent, Fault fault)
        : CommandPath(PATH_NAME, NANOSECONDS_PER_SECOND), sent_(std::move(sent)), fault_(std::move(fault)) {}

    std::unique_ptr<CommandPath> clone() const override { return std::make_unique<AnsweringPath>(*this); }
    bool isSupported(const AttributeList&) const override { return true; }
    CommandResult send(const Command& command, const Payload&, const AttributeList&) override {
        CommandResult result;
        result.command = command.clone();
        const auto* const nvme = dynamic_cast<const NvmeCommand*>(&command);
        if (fault_((*sent_)++, nvme, result)) return result;
        if (nvme == nullptr) {
            features::transport::HostNamespace space;
            space.nsid = 1;
            result.protocolResult = std::make_unique<features::transport::HostResult>(std::vector{space});
            return result;
        }
        // Of Get Features with Select 3: it can be saved.
        const bool isCapabilities = nvme->opcode == 0x0A && (nvme->cdw10 >> 8 & 7) == 3;
        result.protocolResult = std::make_unique<Completion>(uint16_t{0}, isCapabilities ? 1 : 0);
        if (nvme->dataLength != 0) result.inputPayload = answerOf(*nvme).payload();
        return result;
    }

private:
    std::shared_ptr<size_t> sent_;
    Fault fault_;
};

/// A walk over the drive with a fault.
struct Walked {
    Status status;
    std::vector<std::string> refused;
    size_t sent = 0;
};
Walked walkWith(const Fault& fault) {
    const auto sent = std::make_shared<size_t>(0);
    Device device;
    const std::pair<Attribute, std::string> attributes[] = {{attributes::device::devicePath(), "/dev/nvme0"},
                                                            {attributes::device::serialNumber(), "S1"},
                                                            {attributes::device::modelNumber(), "VELKO X1"}};
    for (auto [attribute, value] : attributes) {
        attribute.setValue(value);
        device.setAttribute(attribute);
    }
    device.addCommandPath(AnsweringPath(sent, fault));
    device.addCommandSet(features::nvme::COMMAND_SET_NVME, PATH_NAME);
    device.addCommandSet(features::transport::COMMAND_SET_HOST, PATH_NAME);
    DriveWalk walk;
    const Status status = walk.nvme(device);
    return {status, walk.refused, *sent};
}

/// The pages and features that were asked for, each once.
std::set<unsigned> askedBy(uint8_t opcode, std::vector<std::string>& changing) {
    std::set<unsigned> asked;
    const Walked walked = walkWith([&](size_t, const NvmeCommand* command, CommandResult&) {
        if (command != nullptr && command->changesDrive()) changing.push_back(command->getName());
        if (command != nullptr && command->opcode == opcode) asked.insert(command->cdw10 & 0xFF);
        return false;
    });
    EXPECT_EQ(statusText(walked.status), "0/0 Completed successfully.");
    EXPECT_EQ(walked.refused, std::vector<std::string>());
    return asked;
}

TEST(DriveWalkNvme, AsksADriveForAllThatItOffersAndChangesNothing) {
    std::vector<std::string> changing;
    EXPECT_EQ(askedBy(0x06, changing),
              (std::set<unsigned>{0x00, 0x01, 0x02, 0x03, 0x05, 0x06, 0x08, 0x10, 0x11, 0x12, 0x13, 0x16, 0x17, 0x1C}));
    EXPECT_EQ(askedBy(0x02, changing),
              (std::set<unsigned>{0x00, 0x01, 0x02, 0x03, 0x05, 0x06, 0x09, 0x12, 0xC0, 0xC1}));
    // Of OCP's C0h to C7h not C1h and C3h, which are actions; of the maker's those that are not OCP's, and no action.
    EXPECT_EQ(askedBy(0x0A, changing),
              (std::set<unsigned>{0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09, 0x0A, 0x0B, 0x0C,
                                  0x0E, 0x13, 0x14, 0x16, 0x19, 0x1A, 0x1B, 0x1C, 0x1D, 0x1E, 0x1F, 0x20,
                                  0x21, 0x22, 0x23, 0x24, 0x25, 0x26, 0x27, 0x28, 0x80, 0x81, 0x82, 0x83,
                                  0x85, 0xC0, 0xC2, 0xC4, 0xC5, 0xC6, 0xC7, 0xC8, 0xC9, 0xCB, 0xD9, 0xE2}));
    EXPECT_EQ(changing, std::vector<std::string>());
}

/// A capture with a hole that is not reported would be a drive that lacks something.
TEST(DriveWalkNvme, EndsAtTheCommandAtWhichTheDriveIsUnplugged) {
    const size_t all = walkWith([](size_t, const NvmeCommand*, CommandResult&) { return false; }).sent;
    for (size_t n = 0; n < all; ++n) {
        std::string lost;
        const Walked walked = walkWith([&](size_t number, const NvmeCommand* command, CommandResult& result) {
            if (number < n) return false;
            if (lost.empty())
                lost = command == nullptr ? "host" : command->getName() + " " + std::to_string(command->cdw10);
            result.status = Status(0, 70, "The drive is gone.");
            return true;
        });
        SCOPED_TRACE(std::to_string(n) + ": " + lost);
        EXPECT_EQ(statusText(walked.status), "0/70 The drive is gone.");
        EXPECT_EQ(walked.refused, std::vector<std::string>());
        EXPECT_EQ(walked.sent, n + 1);
    }
}

Fault refusing(uint8_t opcode, uint32_t dword10, uint16_t statusField = 0x4002) {
    return [=](size_t, const NvmeCommand* command, CommandResult& result) {
        const bool isMeant = command != nullptr && command->opcode == opcode &&
                             (opcode == 0x02 ? command->cdw10 & 0xFF : command->cdw10) == dword10;
        if (isMeant) result.protocolResult = std::make_unique<Completion>(statusField, 0);
        return isMeant;
    };
}
std::string refusalOf(const std::string& command, const std::string& opcode) {
    return command +
           " failed on drive S1 (/dev/nvme0): Invalid Field in Command (status code type 0x0, status code "
           "0x02, opcode " +
           opcode + ").";
}

TEST(DriveWalkNvme, NotesWhatTheDriveRefusesAndGoesOn) {
    const std::string identify = refusalOf("Identify", "0x06");
    const std::string log = refusalOf("Get Log Page", "0x02");
    const std::string feature = refusalOf("Get Features", "0x0A");
    const struct {
        uint8_t opcode;
        uint32_t dword10;  // of a log the page alone
        std::vector<std::string> refused;
    } CASES[] = {
        {0x06, 0x00, {"Identify, CNS 0x00: " + identify, "Identify, CNS 0x00: " + identify}},
        {0x06, 0x10, {"Identify, CNS 0x10: " + identify, "Allocated namespaces: " + identify}},
        {0x06, 0x11, {"Identify, CNS 0x11: " + identify, "Identify, CNS 0x11: " + identify}},
        {0x02, 0x02, {"Log page 0x02 (SMART / Health Information): " + log}},
        {0x02, 0xC1, {"Log page 0xC1 (OCP Error Recovery): " + log}},
        {0x0A, 0x001, {"Feature 0x01: " + feature}},
        {0x0A, 0x301, {"Feature 0x01, capabilities: " + feature}},
        {0x0A, 0x101, {"Feature 0x01, default: " + feature}},
        {0x0A, 0x201, {"Feature 0x01, saved: " + feature}},
        {0x0A, 0x0C2, {"Feature 0xC2: " + feature}},
        {0x82, 0x01000100, {"Level 0 Discovery: " + refusalOf("Security Receive", "0x82")}},
    };
    for (const auto& c : CASES) {
        const Walked walked = walkWith(refusing(c.opcode, c.dword10));
        EXPECT_EQ(statusText(walked.status), "0/0 Completed successfully.");
        EXPECT_EQ(walked.refused, c.refused);
    }
}

TEST(DriveWalkNvme, WithoutItsIdentityOrNamespacesADriveIsNotCaptured) {
    for (const uint32_t cns : {0x01U, 0x02U}) {
        const Walked walked = walkWith(refusing(0x06, cns));
        EXPECT_EQ(statusText(walked.status), "0/25 " + refusalOf("Identify", "0x06"));
        EXPECT_EQ(walked.sent, cns);
    }
}

/// Which of the features are OCP's is then not known, and they are not asked for.
TEST(DriveWalkNvme, NotesWhoseFeaturesAreNotKnown) {
    const Walked walked = walkWith(refusing(0x02, 0xC0, 0x0006));
    EXPECT_EQ(statusText(walked.status), "0/0 Completed successfully.");
    const std::string why =
        ": Get Log Page failed on drive S1 (/dev/nvme0): Internal Error (status code type 0x0, status code 0x06, "
        "opcode 0x02).";
    EXPECT_EQ(walked.refused,
              (std::vector<std::string>{"Feature 0xC1" + why, "Feature 0xC2" + why, "Feature 0xC6" + why,
                                        "Feature 0xC8" + why, "Feature 0xC9" + why}));
}

TEST(DriveWalkNvme, NotesAnswersThatMakeNoSense) {
    const Walked walked = walkWith([](size_t, const NvmeCommand* command, CommandResult& result) {
        if (command == nullptr || command->opcode != 0x82 || command->cdw10 == 0) return false;
        result.protocolResult = std::make_unique<Completion>(uint16_t{0}, 0);
        result.inputPayload = DriveBytes(4096).payload();
        return true;
    });
    EXPECT_EQ(statusText(walked.status), "0/0 Completed successfully.");
    EXPECT_EQ(walked.refused,
              std::vector<std::string>{"Level 0 Discovery: Failed to retrieve data from selected device. Drive S1 "
                                       "(/dev/nvme0) returned a Level 0 Discovery that is damaged."});
}

TEST(DriveWalkNvme, NotesALogThatIsLongerThanACaptureHolds) {
    const Walked walked = walkWith([](size_t, const NvmeCommand* command, CommandResult& result) {
        if (command == nullptr || command->opcode != 0x02) return false;
        const uint32_t lid = command->cdw10 & 0xFF;
        if (lid != 0x00 && lid != 0x07) return false;
        result.protocolResult = std::make_unique<Completion>(uint16_t{0}, 0);
        DriveBytes bytes(command->dataLength);
        if (lid == 0x00) bytes.byte(0, 1).byte(4 * 0x07, 1);
        if (lid == 0x07) bytes.byte(0, 7).le16(8, 65535).le16(10, 65535).le16(12, 65535);  // 32 MiB
        result.inputPayload = bytes.payload();
        return true;
    });
    EXPECT_EQ(statusText(walked.status), "0/0 Completed successfully.");
    EXPECT_EQ(walked.refused,
              std::vector<std::string>{"Log page 0x07 (Telemetry Host-Initiated): Request is out of bounds."});
}

}  // namespace
}  // namespace simdrive
