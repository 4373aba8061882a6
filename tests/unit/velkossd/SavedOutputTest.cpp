#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "CLI/velkossd/SavedOutput.h"
#include "ostrel/core/XmlConverter.h"
#include "ostrel/core/xml/XmlElement.h"
#include "tests/unit/velkossd/InFolder.h"
#include "tests/unit/velkossd/IndentReset.h"

namespace cli::velkossd {
namespace {

using Names = std::vector<std::string>;

constexpr char STATUS_GOOD[] =
    "<Object category=\"status\"><Property name=\"Code\" value=\"0\"/><Property name=\"Message\" "
    "value=\"Fine.\"/></Object>";

std::string statusOf(const std::string& message) {
    return "<Object category=\"status\"><Property name=\"Category\" value=\"10\"/><Property name=\"Code\" "
           "value=\"246\"/>"
           "<Property name=\"Message\" value=\"" +
           message + "\"/></Object>";
}

std::string outputOf(const std::string& name, const std::string& key, const std::string& content) {
    return "<Object category=\"Output\" name=\"" + name + "\" key=\"" + key + "\">" + content + "</Object>";
}

std::string payloadOf(const std::string& value) {
    return "<Property category=\"payload\" name=\"payload\" type=\"bytepointer\" value=\"" + value + "\"/>";
}

/// The files of a command appear in a folder of the test's own.
class SavedOutput : public IndentReset {
protected:
    void expectBinary(const std::string& outputs, const std::string& destination, int errorCode,
                      const std::string& text) {
        const auto response = ostrel::core::XmlConverter::toXml("<Object name=\"Nlog\">" + outputs + "</Object>");
        expect(saveBinary(*response, destination), errorCode, text);
    }
    void expectText(const std::string& outputs, const std::string& destination, int errorCode,
                    const std::string& text) {
        const auto response = ostrel::core::XmlConverter::toXml("<Object name=\"PEL\">" + outputs + "</Object>");
        expect(saveText({"Hidden"}, *response, destination), errorCode, text);
    }

    const InFolder folder_;

private:
    void expect(const FlowResult& result, int errorCode, const std::string& text) {
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(result->getErrorCode(), errorCode);
        resetIndent();
        EXPECT_EQ(result->outputText(), text);
    }
};

TEST_F(SavedOutput, IsNamedAfterLogAndDrive) {
    expectBinary(outputOf("nlog", "VX1", STATUS_GOOD + payloadOf("00ff10")), "", 0,
                 "Successfully written nlog data to nlog_VX1.bin");
    EXPECT_EQ(readWholeFile("nlog_VX1.bin"), std::string("\0\xFF\x10", 3));
    EXPECT_EQ(folder_.names(), Names{"nlog_VX1.bin"});
}

TEST_F(SavedOutput, GoesWhereTheUserSays) {
    expectBinary(outputOf("nlog", "VX1", payloadOf("4142")), "dump", 0, "Successfully written nlog data to dump");
    EXPECT_EQ(readWholeFile("dump"), "AB");
    const std::string path = folder_ / "other";
    expectBinary(outputOf("nlog", "VX1", payloadOf("43")), path, 0, "Successfully written nlog data to " + path);
    EXPECT_EQ(readWholeFile("other"), "C");
    EXPECT_EQ(folder_.names(), (Names{"dump", "other"}));
}

TEST_F(SavedOutput, ReplacesTheOldFile) {
    writeWholeFile("nlog_VX1.bin", "an old and longer text");
    expectBinary(outputOf("nlog", "VX1", payloadOf("41")), "", 0, "Successfully written nlog data to nlog_VX1.bin");
    EXPECT_EQ(readWholeFile("nlog_VX1.bin"), "A");
}

TEST_F(SavedOutput, DecodesPairsOfDigits) {
    const struct {
        const char* digits;
        std::string bytes;
        const char* why;
    } cases[] = {
        {"", "", "no bytes"},
        {"414", "", "an odd number of digits counts for nothing"},
        {"aAbB", "\xAA\xBB", "both cases"},
        {"41zz42",
         "A\xFF"
         "B",
         "a bad pair"},
        {"410x42", std::string("A\0B", 3), "a prefix is a zero"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        expectBinary(outputOf("nlog", "VX1", payloadOf(c.digits)), "file", 0, "Successfully written nlog data to file");
        EXPECT_EQ(readWholeFile("file"), c.bytes);
    }
}

TEST_F(SavedOutput, DecodesALargePayload) {
    std::string digits;
    std::string bytes;
    for (int i = 0; i < 300000; ++i) {
        constexpr char HEX[] = "0123456789ABCDEF";
        const auto byte = static_cast<unsigned char>(i * 31 + i / 256);
        bytes += static_cast<char>(byte);
        digits += HEX[byte / 16];
        digits += HEX[byte % 16];
    }
    expectBinary(outputOf("nlog", "VX1", payloadOf(digits)), "", 0, "Successfully written nlog data to nlog_VX1.bin");
    EXPECT_EQ(readWholeFile("nlog_VX1.bin"), bytes);
}

TEST_F(SavedOutput, TakesTheFirstPayloadWhateverItsCase) {
    expectBinary(
        outputOf("nlog", "VX1",
                 "<Property name=\"size\" value=\"9\"/><Property name=\"PayLoad\" value=\"41\"/>" + payloadOf("42")),
        "", 0, "Successfully written nlog data to nlog_VX1.bin");
    EXPECT_EQ(readWholeFile("nlog_VX1.bin"), "A");
}

TEST_F(SavedOutput, SaysThatThereIsNoPayload) {
    const std::string text = "Out of Memory: No Payload data found";
    expectBinary(outputOf("nlog", "VX1", ""), "", 2, text);
    expectBinary(outputOf("nlog", "VX1", "<Property name=\"payloads\" value=\"41\"/>"), "file", 2, text);
    expectBinary(outputOf("nlog", "VX1", "<Object>" + payloadOf("41") + "</Object>"), "file", 2, text);
    EXPECT_EQ(folder_.names(), Names{});
}

TEST_F(SavedOutput, SavesAPayloadWithoutAValueAsAnEmptyFile) {
    expectBinary(outputOf("nlog", "VX1", "<Property name=\"payload\"/>"), "", 0,
                 "Successfully written nlog data to nlog_VX1.bin");
    EXPECT_EQ(readWholeFile("nlog_VX1.bin"), "");
    EXPECT_EQ(folder_.names(), Names{"nlog_VX1.bin"});
}

TEST_F(SavedOutput, SaysThatAFileWasNotWritten) {
    expectBinary(outputOf("nlog", "VX1", payloadOf("41")), "missing/file", 2,
                 "Out of Memory: Failed to write nlog data to missing/file");
    expectBinary(outputOf("nlog", "VX1", payloadOf("41")), "/dev/full", 2,
                 "Out of Memory: Failed to write nlog data to /dev/full");
    EXPECT_EQ(folder_.names(), Names{});
}

TEST_F(SavedOutput, KeepsNamesFromOutsideInTheFolder) {
    expectBinary(outputOf("../a/b&#10;c", "/etc&#9;&#127;/x&#233;", payloadOf("41")), "", 0,
                 "Successfully written ../a/b\nc data to .._a_b_c__etc___x\xC3\xA9.bin");
    EXPECT_EQ(folder_.names(), Names{".._a_b_c__etc___x\xC3\xA9.bin"});
    expectBinary(outputOf("", "", payloadOf("41")), "", 0, "Successfully written  data to _.bin");
}

TEST_F(SavedOutput, FollowsNoLinkAndSaysSoOnTheErrorStream) {
    writeWholeFile("target", "old");
    std::filesystem::create_symlink("target", "nlog_VX1.bin");
    for (const char* destination : {"", "nlog_VX1.bin"}) {
        testing::internal::CaptureStderr();
        expectBinary(outputOf("nlog", "VX1", payloadOf("41")), destination, 2,
                     "Out of Memory: Failed to write nlog data to nlog_VX1.bin");
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "Unable to write nlog_VX1.bin: It is a symbolic link\n");
    }
    EXPECT_EQ(readWholeFile("target"), "old");
    EXPECT_EQ(folder_.names(), (Names{"nlog_VX1.bin", "target"}));
}

TEST_F(SavedOutput, ReportsTheFailureThatTheLibraryReports) {
    expectBinary(outputOf("nlog", "VX1", statusOf("Not on this drive.") + payloadOf("41")), "", 0,
                 "\nError : Not on this drive.\n");
    expectBinary(outputOf("nlog", "VX1", statusOf("")), "", 0, "\nError : Category = 10 Code = 246\n");
    expectBinary(outputOf("nlog", "VX1", statusOf("Error: one Error: two")), "", 0, "\nError : one two\n");
    expectBinary(outputOf("nlog", "VX1", statusOf("Error: ")), "", 0, "\nError : Value not found\n");
    EXPECT_EQ(folder_.names(), Names{});
}

TEST_F(SavedOutput, PassesOverStatusesThatAreNotClear) {
    expectBinary(outputOf("nlog", "VX1", statusOf("one") + statusOf("two") + payloadOf("41")), "", 0,
                 "Successfully written nlog data to nlog_VX1.bin");
    expectBinary(outputOf("nlog", "VX1", "<Object>" + statusOf("too deep") + "</Object>" + payloadOf("41")), "", 0,
                 "Successfully written nlog data to nlog_VX1.bin");
}

TEST_F(SavedOutput, GathersSeveralDrives) {
    expectBinary(outputOf("nlog", "VX1", payloadOf("41")) + "<Object category=\"other\"/>" +
                     outputOf("nlog", "VX2", statusOf("Not on this drive.")) + outputOf("nlog", "VX3", payloadOf("43")),
                 "", 0,
                 "\nSuccess : Successfully written nlog data to nlog_VX1.bin\n"
                 "Error : Not on this drive.\n"
                 "Success : Successfully written nlog data to nlog_VX3.bin\n");
    EXPECT_EQ(folder_.names(), (Names{"nlog_VX1.bin", "nlog_VX3.bin"}));
    std::filesystem::create_directory("nlog_VX4.bin");
    expectBinary(outputOf("nlog", "VX4", payloadOf("44")) + outputOf("nlog", "VX5", "") +
                     outputOf("nlog", "VX6", payloadOf("46")),
                 "", 2,
                 "\nError : Failed to write nlog data to nlog_VX4.bin\n"
                 "Error : No Payload data found\n"
                 "Success : Successfully written nlog data to nlog_VX6.bin\n");
    EXPECT_EQ(folder_.names(), (Names{"nlog_VX1.bin", "nlog_VX3.bin", "nlog_VX4.bin", "nlog_VX6.bin"}));
}

TEST_F(SavedOutput, AStatusOfNoDriveIsAFailureBesideWhatIsSaved) {
    expectBinary(outputOf("nlog", "VX1", payloadOf("41")) + outputOf("", "", statusOf("Not all drives were seen.")), "",
                 246,
                 "\nSuccess : Successfully written nlog data to nlog_VX1.bin\n"
                 "Error : Not all drives were seen.\n");
    EXPECT_EQ(folder_.names(), Names{"nlog_VX1.bin"});
}

TEST_F(SavedOutput, IsEmptyWithoutAnOutput) {
    expectBinary("", "file", 0, "\nNo results\n");
    expectBinary("<Object name=\"nlog\">" + payloadOf("41") + "</Object>", "file", 0, "\nNo results\n");
    expectText("", "file", 0, "\nNo results\n");
    EXPECT_EQ(folder_.names(), Names{});
}

TEST_F(SavedOutput, KeepsTheTextOfAnOutput) {
    const std::string content =
        "<Property name=\"Events\" value=\"1\"/><Property name=\"Hidden\" value=\"x\"/>"
        "<Object name=\"Event\" key=\"1\"><Property name=\"Type\" value=\"a/b\"/></Object>";
    const std::string file = "\nEvents : 1\n\n- Event 1 -\n\nType : a/b\n";
    expectText(outputOf("pel", "VX1", content), "", 0, "Successfully written pel data to pel_VX1.txt");
    EXPECT_EQ(readWholeFile("pel_VX1.txt"), file);
    expectText(outputOf("pel", "VX1", content), "parsed", 0, "Successfully written pel data to parsed");
    EXPECT_EQ(readWholeFile("parsed"), file);
    expectText(outputOf("pel", "VX1", ""), "parsed", 0, "Successfully written pel data to parsed");
    EXPECT_EQ(readWholeFile("parsed"), "\nNo results\n");
    EXPECT_EQ(folder_.names(), (Names{"parsed", "pel_VX1.txt"}));
}

TEST_F(SavedOutput, ReportsFailuresOfTextsInTheSameWay) {
    expectText(outputOf("pel", "VX1", statusOf("No log.")), "", 0, "\nError : No log.\n");
    expectText(outputOf("pel", "VX1", ""), "missing/file", 2,
               "Out of Memory: Failed to write pel data to missing/file");
    expectText(outputOf("pel", "VX1", "") + outputOf("pel", "VX2", statusOf("No log.")), "", 0,
               "\nSuccess : Successfully written pel data to pel_VX1.txt\nError : No log.\n");
    EXPECT_EQ(folder_.names(), Names{"pel_VX1.txt"});
}

}  // namespace
}  // namespace cli::velkossd
