#include <gtest/gtest.h>

#include "features/jobs/settings/ErrorInjectionList.h"
#include "ostrel/core/Strings.h"
#include "tests/support/StatusText.h"
#include "tests/support/TemporaryFolder.h"

namespace features::jobs {
namespace {

using namespace ostrel::core;

/// "type enabled once reads" of each entry, or "10/253 message".
std::string text(const Result<std::vector<ErrorInjection>>& entries) {
    if (!entries) return statusText(entries);
    std::string lines;
    for (const ErrorInjection& entry : *entries) {
        lines += std::to_string(entry.type) + (entry.enabled ? " on" : " off") + (entry.once ? " once " : " always ") +
                 std::to_string(entry.reads) + "\n";
    }
    return lines;
}
std::string read(const std::string& list) {
    return text(readErrorInjections(list));
}
std::string readFileWith(const std::string& xml) {
    TemporaryFolder folder;
    writeWholeFile(folder / "e.xml", xml);
    std::string answer = text(readErrorInjectionFile(folder / "e.xml"));
    const size_t at = answer.find(folder / "");
    return at == std::string::npos ? answer : answer.replace(at, (folder / "").size(), "FOLDER/");
}

constexpr struct {
    const char* list;
    const char* answer;
} LISTS[] = {
    {"3", "3 on once 0\n"},
    {"3:once", "3 on once 0\n"},
    {"0xB:always:1000", "11 on always 1000\n"},
    {"65535:ONCE:65535", "65535 on once 65535\n"},
    {"1::7", "1 on once 7\n"},
    {"1:once:", "1 on once 0\n"},
    {"1:off", "1 off always 0\n"},
    {"2:once:10~1:always~9:off:3", "2 on once 10\n1 on always 0\n9 off always 3\n"},
    {"die offline:always~Metadata-Corruption", "22 on always 0\n12 on once 0\n"},
    {"NAND hang:once:10~device panic - NAND hang:off", "2 on once 10\n2 off always 0\n"},
    {"CPU or controller hang", "1 on once 0\n"},
    {"Admin command timeout", "18 on once 0\n"},
    {"none", ""},
    {"NONE", ""},
    {"0",
     "10/253 Set error injection configured incorrectly. The type of an error injection is a number from 1 to 65535 "
     "or a name, not '0'."},
    {"65536",
     "10/253 Set error injection configured incorrectly. The type of an error injection is a number from 1 to "
     "65535 or a name, not '65536'."},
    {"",
     "10/253 Set error injection configured incorrectly. The type of an error injection is a number from 1 to 65535 "
     "or a name, not ''."},
    {"1~",
     "10/253 Set error injection configured incorrectly. The type of an error injection is a number from 1 to "
     "65535 or a name, not ''."},
    {"1~none",
     "10/253 Set error injection configured incorrectly. The type of an error injection is a number from 1 to "
     "65535 or a name, not 'none'."},
    {"1:twice",
     "10/253 Set error injection configured incorrectly. An error is injected 'once', 'always', or not ('off'), "
     "but not 'twice'."},
    {"1:once:65536",
     "10/253 Set error injection configured incorrectly. The reads before an error injection are a number "
     "from 0 to 65535, not '65536'."},
    {"1:once:2:3",
     "10/253 Set error injection configured incorrectly. An error injection is "
     "TYPE[:once|always|off[:READS]], not '1:once:2:3'."},
};

TEST(ErrorInjectionList, ListsCaseByCase) {
    for (const auto& c : LISTS) EXPECT_EQ(read(c.list), c.answer) << '"' << c.list << '"';
}

TEST(ErrorInjectionList, TakesAHundredAndTwentySeven) {
    std::string list = "1";
    std::string expected = "1 on once 0\n";
    for (int i = 1; i < 127; ++i) {
        list += "~1";
        expected += "1 on once 0\n";
    }
    EXPECT_EQ(read(list), expected);
    EXPECT_EQ(read(list + "~1"),
              "10/252 Maximum number of entries in the Number of Error Injections field supported is 127.");
}

constexpr struct {
    const char* xml;
    const char* answer;
} FILES[] = {
    {"<ErrorInjections><ErrorInjection type=\"3\"/></ErrorInjections>", "3 on once 0\n"},
    {"<?xml version=\"1.0\"?>\n<!-- two -->\n<ErrorInjections>\n"
     "  <ErrorInjection type=\"0x2\" repeat=\"always\" reads=\"500\"/>\n"
     "  <ErrorInjection reads=\"1\" repeat=\"off\" type=\"7\"></ErrorInjection>\n</ErrorInjections>\n",
     "2 on always 500\n7 off always 1\n"},
    {"<ErrorInjections/>", ""},
    {"<ErrorInjections><ErrorInjection/></ErrorInjections>",
     "10/253 Set error injection configured incorrectly. The type of an error injection is a number from 1 to 65535 "
     "or a name, not "
     "''."},
    {"<Errors/>",
     "10/253 Set error injection configured incorrectly. The file has no element <ErrorInjections> as its root."},
    {"<ErrorInjections><Entry type=\"1\"/></ErrorInjections>",
     "10/253 Set error injection configured incorrectly. The file has an element <Entry> that is not <ErrorInjection "
     "type= repeat= reads=/>."},
    {"<ErrorInjections><ErrorInjection type=\"1\" count=\"2\"/></ErrorInjections>",
     "10/253 Set error injection configured incorrectly. The file has an element <ErrorInjection> that is not "
     "<ErrorInjection type= repeat= reads=/>."},
    {"<ErrorInjections><ErrorInjection type=\"1\">2</ErrorInjection></ErrorInjections>",
     "10/253 Set error injection configured incorrectly. The file has an element <ErrorInjection> that is not "
     "<ErrorInjection type= repeat= reads=/>."},
    {"<ErrorInjections><ErrorInjection type=\"1\"><a/></ErrorInjection></ErrorInjections>",
     "10/253 Set error injection configured incorrectly. The file has an element <ErrorInjection> that is not "
     "<ErrorInjection type= repeat= reads=/>."},
    {"", "10/253 Set error injection configured incorrectly. The file has no element <ErrorInjections> as its root."},
    {"<ErrorInjections>",
     "10/253 Set error injection configured incorrectly. 'FOLDER/e.xml' is not XML: unexpected end of data in line 1."},
};

TEST(ErrorInjectionList, FilesCaseByCase) {
    for (const auto& c : FILES) EXPECT_EQ(readFileWith(c.xml), c.answer) << c.xml;
}

TEST(ErrorInjectionList, AFileThatIsTooLongOrMissingIsNotRead) {
    EXPECT_EQ(readFileWith(std::string(65537, ' ')),
              "10/54 Failed reading a file necessary for the feature. 'FOLDER/e.xml': it has 65537 bytes, and at most "
              "65536 can be taken.");
    EXPECT_EQ(
        text(readErrorInjectionFile("/nonexistent/e.xml")),
        "10/54 Failed reading a file necessary for the feature. '/nonexistent/e.xml': No such file or directory.");
}

TEST(ErrorInjectionList, AFileThatNestsDeepDoesNotOverflowTheStack) {
    std::string xml;
    for (int i = 0; i < 21000; ++i) xml += "<a>";
    EXPECT_EQ(readFileWith(xml),
              "10/253 Set error injection configured incorrectly. 'FOLDER/e.xml' nests its elements too deep.");
}

TEST(ErrorInjectionList, LaysTheEntriesOutInTheDataStructure) {
    std::vector<ErrorInjection> entries(3);
    entries[0] = {0x0002, true, true, 0x1234};
    entries[1] = {0xABCD, true, false, 0};
    entries[2] = {0x0009, false, false, 3};
    const Payload data = errorInjectionData(entries);
    ASSERT_EQ(data.getSize(), 4096U);
    EXPECT_EQ(bytesToHex(data.getData(), 96),
              "0300020034120000000000000000000000000000000000000000000000000000"
              "0100CDAB00000000000000000000000000000000000000000000000000000000"
              "0000090003000000000000000000000000000000000000000000000000000000");
    EXPECT_EQ(bytesToHex(data.getData() + 96, 4000), std::string(8000, '0'));
    EXPECT_EQ(bytesToHex(errorInjectionData({}).getData(), 4096), std::string(8192, '0'));
}

}  // namespace
}  // namespace features::jobs
