#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "features/simulator/store/CaptureFolder.h"
#include "tests/support/StatusText.h"
#include "tests/support/TemporaryFolder.h"

namespace features::simulator {
namespace {

class CaptureInAFolder : public testing::Test {
protected:
    /// What reading the folder says, with "FOLDER" for its path.
    std::string read() const {
        const std::string path = folder_ / "capture";
        std::string text = statusText(readCapture(path));
        for (size_t at; (at = text.find(path)) != std::string::npos;) text.replace(at, path.size(), "FOLDER");
        return text;
    }
    std::string read(const std::string& list) const {
        writeWholeFile(list_, list);
        return read();
    }
    /// Of a list with these entries.
    std::string readAnswers(const std::string& entries) const {
        return read(R"({"format": "nimbrel-capture", "version": 1, "drive": "nvme", "masked": false, "answers": [)" +
                    entries + "]}");
    }

    TemporaryFolder folder_;
    const std::string list_ = folder_ / "capture/capture.json";

private:
    void SetUp() override { std::filesystem::create_directory(folder_ / "capture"); }
};

constexpr const char* SUCCESS = "0/0 Completed successfully.";
constexpr const char* GOOD = R"({"opcode": 6, "fields": [0, 1, 0, 0], "status": 0, "result": 0})";

TEST_F(CaptureInAFolder, IsNotReadWithoutItsList) {
    EXPECT_EQ(read(), "1/2 System error. FOLDER/capture.json: No such file or directory.");
    writeWholeFile(list_, std::string((4 << 20) + 1, ' '));
    EXPECT_EQ(read(), "1/27 System error. FOLDER/capture.json is too large.");
    std::filesystem::remove(list_);
    std::filesystem::create_symlink("elsewhere", list_);
    EXPECT_EQ(read(), "1/40 System error. FOLDER/capture.json: Too many levels of symbolic links.");
    std::filesystem::remove_all(folder_ / "capture");
    EXPECT_EQ(read(), "1/2 System error. FOLDER: No such file or directory.");
}

TEST_F(CaptureInAFolder, SaysWhatIsWrongWithItsList) {
    const struct {
        const char* list;
        const char* how;
    } cases[] = {
        {"", "it lacks the format's name"},
        {"[]", "it lacks the format's name"},
        {R"({"version": 1})", "it lacks the format's name"},
        {R"({"format": 1})", "it lacks the format's name"},
        {R"({"format": "other"})", "it lacks the format's name"},
        {R"({"format": "nimbrel-capture"})", "its version is unknown"},
        {R"({"format": "nimbrel-capture", "version": 2})", "its version is unknown"},
        {R"({"format": "nimbrel-capture", "version": "1"})", "its version is unknown"},
        {R"({"format": "nimbrel-capture", "version": 1})", "\"drive\" is neither nvme nor sata"},
        {R"({"format": "nimbrel-capture", "version": 1, "drive": "scsi"})", "\"drive\" is neither nvme nor sata"},
        {R"({"format": "nimbrel-capture", "version": 1, "drive": "sata"})", "it has no list of answers"},
        {R"({"format": "nimbrel-capture", "version": 1, "drive": "nvme", "answers": {}})", "it has no list of answers"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(read(c.list), std::string("1/22 FOLDER/capture.json is not a capture: ") + c.how + ".") << c.list;
}

TEST_F(CaptureInAFolder, SaysWhatIsWrongWithAnAnswer) {
    const struct {
        const char* entry;
        const char* how;
    } cases[] = {
        {"7", "answer 2 is no object"},
        {R"({"fields": [0, 1, 0, 0], "status": 0, "result": 0})", "answer 2 lacks a field"},
        {R"({"opcode": 256, "fields": [0, 1, 0, 0], "status": 0, "result": 0})", "answer 2 lacks a field"},
        {R"({"opcode": -1, "fields": [0, 1, 0, 0], "status": 0, "result": 0})", "answer 2 lacks a field"},
        {R"({"opcode": "6", "fields": [0, 1, 0, 0], "status": 0, "result": 0})", "answer 2 lacks a field"},
        {R"({"opcode": 6, "status": 0, "result": 0})", "answer 2 lacks a field"},
        {R"({"opcode": 6, "fields": 1, "status": 0, "result": 0})", "answer 2 lacks a field"},
        {R"({"opcode": 6, "fields": [0, 1, 0], "status": 0, "result": 0})", "answer 2 lacks a field"},
        {R"({"opcode": 6, "fields": [0, 1, 0, -1], "status": 0, "result": 0})", "answer 2 lacks a field"},
        {R"({"opcode": 6, "fields": [0, 4294967296, 0, 0], "status": 0, "result": 0})", "answer 2 lacks a field"},
        {R"({"opcode": 6, "fields": [0, 2, 0, 0], "result": 0})", "answer 2 lacks a field"},
        {R"({"opcode": 6, "fields": [0, 2, 0, 0], "status": 65536, "result": 0})", "answer 2 lacks a field"},
        {R"({"opcode": 6, "fields": [0, 2, 0, 0], "status": 0})", "answer 2 lacks a field"},
        {R"({"opcode": 6, "fields": [0, 2, 0, 0], "status": 0, "result": 1.5})", "answer 2 lacks a field"},
        {R"({"opcode": 6, "fields": [0, 2, 0, 0], "status": 0, "result": 0, "file": 2})",
         "answer 2 names another file than capture-0002.bin"},
        {R"({"opcode": 6, "fields": [0, 2, 0, 0], "status": 0, "result": 0, "file": "../passwd"})",
         "answer 2 names another file than capture-0002.bin"},
        {GOOD, "answer 2 is there twice"},
    };
    EXPECT_EQ(readAnswers(GOOD), SUCCESS);
    for (const auto& c : cases)
        EXPECT_EQ(readAnswers(std::string(GOOD) + "," + c.entry),
                  std::string("1/22 FOLDER is not a capture: ") + c.how + ".")
            << c.entry;
}

TEST_F(CaptureInAFolder, HasABoundForItsAnswers) {
    const auto entries = [](unsigned count) {
        std::string all;
        for (unsigned i = 0; i < count; ++i) {
            all += std::string(i == 0 ? "" : ",") + R"({"opcode": 6, "fields": [0, )" + std::to_string(i) +
                   R"(, 0, 0], "status": 0, "result": 0})";
        }
        return all;
    };
    EXPECT_EQ(readAnswers(entries(8192)), SUCCESS);
    EXPECT_EQ(readAnswers(entries(8193)), "1/22 FOLDER/capture.json is not a capture: it has too many answers.");
}

/// 16 MiB each and 256 MiB together. The files are sparse.
TEST_F(CaptureInAFolder, HasABoundForItsBytes) {
    const auto readFiles = [&](const std::vector<uintmax_t>& sizes) {
        std::string entries;
        for (size_t i = 0; i < sizes.size(); ++i) {
            const std::string digits = std::to_string(i + 1);
            const std::string file = "capture-" + std::string(4 - digits.size(), '0') + digits + ".bin";
            entries += std::string(i == 0 ? "" : ",") + R"({"opcode": 6, "fields": [0, )" + digits +
                       R"(, 0, 0], "status": 0, "result": 0, "file": ")" + file + "\"}";
            std::filesystem::remove(folder_ / ("capture/" + file));
            if (sizes[i] == 0) continue;  // it is missing
            writeWholeFile(folder_ / ("capture/" + file), "");
            std::filesystem::resize_file(folder_ / ("capture/" + file), sizes[i]);
        }
        return readAnswers(entries);
    };
    constexpr uintmax_t MOST = 16 << 20;
    EXPECT_EQ(readFiles({MOST, 1}), SUCCESS);
    EXPECT_EQ(readFiles({1, MOST + 1}), "1/27 System error. FOLDER/capture-0002.bin is too large.");
    EXPECT_EQ(readFiles({1, 0}), "1/2 System error. FOLDER/capture-0002.bin: No such file or directory.");
    std::vector<uintmax_t> sizes(16, MOST);
    sizes.push_back(1);
    EXPECT_EQ(readFiles(sizes), "1/27 FOLDER: The capture is too large.");
}

TEST_F(CaptureInAFolder, IsMaskedWhereItSaysSo) {
    const auto isMasked = [&](const std::string& masked) {
        EXPECT_EQ(
            read(R"({"format": "nimbrel-capture", "version": 1, "drive": "sata", )" + masked + "\"answers\": []}"),
            SUCCESS);
        return readCapture(folder_ / "capture")->isMasked;
    };
    EXPECT_TRUE(isMasked("\"masked\": true, "));
    EXPECT_FALSE(isMasked("\"masked\": false, "));
    EXPECT_FALSE(isMasked("\"masked\": 1, "));
    EXPECT_FALSE(isMasked(""));
}

TEST_F(CaptureInAFolder, IsNotWrittenOverAnother) {
    CapturedAnswers answers;
    answers.answers[{0x06, {0, 1, 0, 0}}] = {0, 0, {1, 2, 3}};
    const std::string path = folder_ / "capture";
    writeWholeFile(list_, "another");
    EXPECT_EQ(statusText(writeCapture(answers, path)), "1/17 System error. " + list_ + ": File exists.");
    EXPECT_EQ(readWholeFile(list_), "another");
    EXPECT_EQ(statusText(writeCapture(answers, path)),
              "1/17 System error. " + path + "/capture-0001.bin: File exists.");
    EXPECT_EQ(statusText(writeCapture(answers, folder_ / "none")),
              "1/2 System error. " + (folder_ / "none/capture-0001.bin") + ": No such file or directory.");
}

}  // namespace
}  // namespace features::simulator
