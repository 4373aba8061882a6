#include <gtest/gtest.h>

#include "features/jobs/firmware/FirmwareManifest.h"

namespace features::jobs {
namespace {

const std::string DIGEST = "BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD";

const std::string MANIFEST = R"({
  "models": ["VELKO P100*", "VELKO P1?0"],
  "revision": "VP10 205",
  "released": "2026-03-31",
  "from": ["VP1001*"],
  "file": "VP100205.bin",
  "sha256": ")" + DIGEST + "\"\n}\n";

/// MANIFEST with one piece of its text in the place of another.
std::string changed(const std::string& piece, const std::string& other) {
    std::string text = MANIFEST;
    return text.replace(text.find(piece), piece.size(), other);
}

std::string fault(const std::string& text) {
    FirmwareManifest manifest;
    manifest.file = "untouched";
    std::string fault = readFirmwareManifest(text, manifest);
    EXPECT_EQ(manifest.file, fault.empty() ? "VP100205.bin" : "untouched") << text;
    return fault;
}

TEST(FirmwareManifest, AllKeysAreRead) {
    FirmwareManifest manifest;
    EXPECT_EQ(readFirmwareManifest(MANIFEST, manifest), "");
    EXPECT_EQ(manifest.models, (std::vector<std::string>{"VELKO P100*", "VELKO P1?0"}));
    EXPECT_EQ(manifest.revision, "VP10 205");
    EXPECT_EQ(manifest.released, "2026-03-31");
    EXPECT_EQ(manifest.from, std::vector<std::string>{"VP1001*"});
    EXPECT_EQ(manifest.file, "VP100205.bin");
    EXPECT_EQ(manifest.sha256, DIGEST);
}

const std::string MODELS = "'models' must be given once and be a list of 1 to 64 patterns of model numbers";
const std::string REVISION = "'revision' must be given once and be 1 to 8 characters";
const std::string RELEASED = "'released' must be given once and be a date like 2026-03-31";
const std::string FROM = "'from' must be given once and be a list of 1 to 64 patterns of revisions";
const std::string FILE_RULE = "'file' must be given once and be the name of a file in the same folder";
const std::string SHA = "'sha256' must be given once and be 64 hexadecimal digits";

std::string list(size_t count) {
    std::string text = "[\"a\"";
    for (size_t i = 1; i < count; ++i) text += ", \"a\"";
    return text + "]";
}

TEST(FirmwareManifest, EachKeyHasItsRule) {
    const struct {
        std::string text;
        std::string fault;
        const char* why;
    } cases[] = {
        {changed("\"models\"", "\"model\""), MODELS, "missing"},
        {changed("\"models\"", "\"models\": [\"a\"], \"models\""), MODELS, "given twice"},
        {changed("[\"VELKO P100*\", \"VELKO P1?0\"]", "\"VELKO\""), MODELS, "a text is no list"},
        {changed("[\"VELKO P100*\", \"VELKO P1?0\"]", "[]"), MODELS, "none"},
        {changed("[\"VELKO P100*\", \"VELKO P1?0\"]", "{\"a\": \"b\"}"), MODELS, "an object is no list"},
        {changed("[\"VELKO P100*\", \"VELKO P1?0\"]", "[[\"a\"]]"), MODELS, "a list in it"},
        {changed("VELKO P1?0", ""), MODELS, "an empty pattern"},
        {changed("VELKO P1?0", std::string(65, 'a')), MODELS, "a pattern that no model number needs"},
        {changed("VELKO P1?0", std::string(64, 'a')), "", "the longest"},
        {changed("[\"VELKO P100*\", \"VELKO P1?0\"]", list(64)), "", "the most"},
        {changed("[\"VELKO P100*\", \"VELKO P1?0\"]", list(65)), MODELS, "one too many"},
        {changed("VP10 205", ""), REVISION, "empty"},
        {changed("VP10 205", "VP1002056"), REVISION, "too long for a drive"},
        {changed("VP10 205", "VP10\\n205"), REVISION, "a control character"},
        {changed("VP10 205", "VP10205 "), REVISION, "blanks around it are not the drive's"},
        {changed("\"VP10 205\"", "[\"VP100205\"]"), REVISION, "a list is no text"},
        {changed("2026-03-31", "2026-3-31"), RELEASED, "would not sort"},
        {changed("2026-03-31", "31.03.2026"), RELEASED, "another order"},
        {changed("2026-03-31", "2026-13-31"), RELEASED, "no month"},
        {changed("2026-03-31", "2026-00-31"), RELEASED, "no month"},
        {changed("2026-03-31", "2026-03-32"), RELEASED, "no day"},
        {changed("2026-03-31", "2026-03-00"), RELEASED, "no day"},
        {changed("\"from\": [\"VP1001*\"],", ""), FROM, "what may be replaced is said, never guessed"},
        {changed("VP100205.bin", ""), FILE_RULE, "empty"},
        {changed("VP100205.bin", "../VP100205.bin"), FILE_RULE, "leaves the folder"},
        {changed("VP100205.bin", ".."), FILE_RULE, "the folder above"},
        {changed("VP100205.bin", "a/VP100205.bin"), FILE_RULE, "another folder"},
        {changed("VP100205.bin", "/etc/passwd"), FILE_RULE, "another folder"},
        {changed("VP100205.bin", "a\\u0000b"), FILE_RULE, "a name ends there for the system"},
        {changed("VP100205.bin", std::string(256, 'a')), FILE_RULE, "longer than a name can be"},
        {changed(DIGEST, DIGEST.substr(1)), SHA, "a digit is missing"},
        {changed(DIGEST, DIGEST.substr(1) + "g"), SHA, "no digit"},
        {changed("\"file\"", "\"note\": \"\", \"file\""), "it has a key that is not known", "it may be misspelt"},
    };
    for (const auto& c : cases) EXPECT_EQ(fault(c.text), c.fault) << c.why << '\n' << c.text;
}

TEST(FirmwareManifest, WhatIsNoManifestIsReportedSeparately) {
    EXPECT_EQ(fault(""), "it is not JSON: syntax error in line 1, column 1");
    EXPECT_EQ(fault("{\n\"models\": }"), "it is not JSON: syntax error in line 2, column 11");
    EXPECT_EQ(fault(MANIFEST + "x"), "it is not JSON: syntax error in line 9, column 1");
    EXPECT_EQ(fault("[]"), MODELS);
    EXPECT_EQ(fault(std::string(17, '[')), "it has too many brackets");
    EXPECT_EQ(fault(MANIFEST + std::string(MAX_MANIFEST_BYTES - MANIFEST.size(), ' ')), "");
    EXPECT_EQ(fault(MANIFEST + std::string(MAX_MANIFEST_BYTES - MANIFEST.size() + 1, ' ')), "it is too large");
}

/// MANIFEST with another key before "file".
std::string withKey(const std::string& member) {
    return changed("\"file\"", member + ", \"file\"");
}

const std::string UNKNOWN = "it has a key that is not known";

struct Case {
    std::string text;
    std::string fault;
    const char* why;
};
const Case KEY_CASES[] = {
    {withKey("\"revision\": \"VP10 205\""), REVISION, "twice, with the same value"},
    {withKey("\"r\\u0065vision\": \"VP100206\""), REVISION, "twice, once with an escape"},
    {withKey("\"sha256\": 1"), SHA, "twice, with another type"},
    {changed("\"revision\"", "\"r\\u0065vision\""), "", "an escape in a key"},
    {changed("\"revision\"", "\"Revision\""), REVISION, "capitals count"},
    {withKey("\"\": \"\""), UNKNOWN, "an empty key"},
    {withKey("\"a.revision\": \"\""), UNKNOWN, "a dot leads nowhere"},
    {withKey("\"note\": 1, \"note\": 2"), UNKNOWN, "twice"},
    {withKey("\"note\": {\"a\": [1, {\"b\": null}], \"a\": 2}"), UNKNOWN, "whatever is in it"},
    {changed("\"VP10 205\"", "{\"revision\": \"VP10 205\"}"), REVISION, "a key further down is another one"},
    {"[" + MANIFEST + "]", MODELS, "in a list"},
    {"{}", MODELS, "no key"},
    {"\"models\"", MODELS, "a text"},
    {"1", MODELS, "a number"},
    {"null", MODELS, "nothing"},
};

TEST(FirmwareManifest, KeysAreGivenOnceAndNoOthers) {
    for (const auto& c : KEY_CASES) EXPECT_EQ(fault(c.text), c.fault) << c.why << '\n' << c.text;
}

const Case TYPE_CASES[] = {
    {changed("\"VP10 205\"", "[]"), REVISION, "an empty list"},
    {changed("\"VP10 205\"", "{}"), REVISION, "an empty object"},
    {changed("[\"VP1001*\"]", "{}"), FROM, "an empty object"},
    {changed("[\"VP1001*\"]", "{\"\": \"VP1001*\"}"), FROM, "an object whose key is empty"},
    {changed("[\"VP1001*\"]", "null"), FROM, "nothing"},
    {changed("[\"VP1001*\"]", "1"), FROM, "a number"},
    {changed("\"VP1001*\"", "{}"), FROM, "an object in the list"},
    {changed("\"VP1001*\"", "\"VP1001*\", []"), FROM, "a list after a pattern"},
    {changed("\"VP1001*\"", "[\"VP1001*\"], \"VP1002*\""), FROM, "a list before a pattern"},
    {changed("\"VP1001*\"", "1, true, null"), "", "each counts as a text"},
    {changed('"' + DIGEST + '"', std::string(64, '1')), "", "a number of 64 digits"},
    {changed("VP10 205", "VP10\\u0000205"), REVISION, "the character 0"},
    {changed("VP10 205", "VP\\ud83d\\ude00"), REVISION, "not ASCII, escaped"},
    {changed("VP10 205", "VP\xC3\xA9"), REVISION, "not ASCII"},
    {changed("VP10 205", "VP\x7F"), REVISION, "a control character that JSON allows"},
    {changed("VP100205.bin", "a\\/b"), FILE_RULE, "an escaped / is one"},
};

TEST(FirmwareManifest, ValuesHaveTheTypeOfTheirKey) {
    for (const auto& c : TYPE_CASES) EXPECT_EQ(fault(c.text), c.fault) << c.why << '\n' << c.text;
}

TEST(FirmwareManifest, AValueWithoutQuotesCountsAsItsText) {
    for (const char* value :
         {"0", "-0", "-12", "100205", "99999999", "1.50", "1E+05", "1e-999", "true", "false", "null"}) {
        FirmwareManifest manifest;
        EXPECT_EQ(readFirmwareManifest(changed("\"VP10 205\"", value), manifest), "") << value;
        EXPECT_EQ(manifest.revision, value);
    }
    FirmwareManifest manifest;
    const std::string LONG_NUMBER = "123456789012345678901234567890";
    EXPECT_EQ(readFirmwareManifest(changed("\"VP100205.bin\"", LONG_NUMBER), manifest), "");
    EXPECT_EQ(manifest.file, LONG_NUMBER) << "more digits than any type of number holds";
}

const Case SYNTAX_CASES[] = {
    {" \n ", "it is not JSON: syntax error in line 2, column 2", "blanks alone"},
    {MANIFEST.substr(0, MANIFEST.size() - 2), "it is not JSON: syntax error in line 8, column 1", "no end"},
    {MANIFEST.substr(0, 20), "it is not JSON: syntax error in line 2, column 19", "ends in a text"},
    {MANIFEST + MANIFEST, "it is not JSON: syntax error in line 9, column 1", "two of them"},
    {"\v" + MANIFEST, "it is not JSON: syntax error in line 1, column 1", "a blank that JSON does not know"},
    {"// firmware\n" + MANIFEST, "it is not JSON: syntax error in line 1, column 1", "a comment"},
    {MANIFEST + "/**/", "it is not JSON: syntax error in line 9, column 1", "a comment after it"},
    {std::string("\0", 1) + MANIFEST, "it is not JSON: syntax error in line 1, column 1", "a NUL before it"},
    {MANIFEST + '\0', "it is not JSON: syntax error in line 9, column 1", "a NUL after it"},
    {MANIFEST + std::string("\0}{", 3), "it is not JSON: syntax error in line 9, column 1", "a NUL does not end it"},
    {changed("VP10 205", std::string("VP\0", 3)), "it is not JSON: syntax error in line 3, column 18",
     "a NUL in a text"},
    {changed("\"file\"", std::string("\0", 1) + "\"file\""), "it is not JSON: syntax error in line 6, column 3",
     "a NUL between two keys"},
    {changed("\"VP1001*\"", "\"VP1001*\","), "it is not JSON: syntax error in line 5, column 22",
     "a comma at the end of a list"},
    {changed(DIGEST + '"', DIGEST + "\","), "it is not JSON: syntax error in line 8, column 1", "a comma at the end"},
    {changed("\"file\":", "\"file\""), "it is not JSON: syntax error in line 6, column 23", "no colon"},
    {changed("\"file\"", "1"), "it is not JSON: syntax error in line 6, column 3", "a key that is a number"},
    {changed("\"file\"", "file"), "it is not JSON: syntax error in line 6, column 4", "a key without quotes"},
    {changed("\"VP10 205\"", "'VP100205'"), "it is not JSON: syntax error in line 3, column 15", "other quotes"},
    {changed("VP10 205", "VP\t"), "it is not JSON: syntax error in line 3, column 18", "a tab in a text"},
    {changed("VP10 205", "VP\n"), "it is not JSON: syntax error in line 3, column 18", "a text over two lines"},
    {changed("VP10 205", "VP\\x"), "it is not JSON: syntax error in line 3, column 19", "no escape"},
    {changed("VP10 205", "VP\\u00"), "it is not JSON: syntax error in line 3, column 22", "half an escape"},
    {changed("VP10 205", "\\ud83d"), "it is not JSON: syntax error in line 3, column 22", "the first half of a pair"},
    {changed("VP10 205", "\\ud83d\\ud83d"), "it is not JSON: syntax error in line 3, column 27",
     "the first half twice"},
    {changed("VP10 205", "\\ude00"), "it is not JSON: syntax error in line 3, column 21", "the second half of a pair"},
    {changed("VP10 205", "VP\xE9"), "it is not JSON: syntax error in line 3, column 19", "no UTF-8"},
    {changed("VP10 205", "VP\xE2\x82"), "it is not JSON: syntax error in line 3, column 20", "half a character"},
    {changed("VP10 205", "VP\xC0\xAF"), "it is not JSON: syntax error in line 3, column 18", "a '/' in two bytes"},
    {changed("VP10 205", "VP\xED\xA0\x80"), "it is not JSON: syntax error in line 3, column 19",
     "half of a pair in UTF-8"},
    {changed("\"file\"", "\xFF\"file\""), "it is not JSON: syntax error in line 6, column 3",
     "a byte between two keys"},
    {changed("\"VP10 205\"", "01"), "it is not JSON: syntax error in line 3, column 16", "a zero before a number"},
    {changed("\"VP10 205\"", "+1"), "it is not JSON: syntax error in line 3, column 15", "a plus"},
    {changed("\"VP10 205\"", "-"), "it is not JSON: syntax error in line 3, column 16", "a sign alone"},
    {changed("\"VP10 205\"", "1."), "it is not JSON: syntax error in line 3, column 17", "no digit after the point"},
    {changed("\"VP10 205\"", ".5"), "it is not JSON: syntax error in line 3, column 15", "no digit before the point"},
    {changed("\"VP10 205\"", "1e"), "it is not JSON: syntax error in line 3, column 17", "no exponent"},
    {changed("\"VP10 205\"", "0x10"), "it is not JSON: syntax error in line 3, column 16", "a hexadecimal number"},
    {changed("\"VP10 205\"", "1e999"), "it is not JSON: syntax error in line 3, column 19", "more than a double holds"},
    {changed("\"VP10 205\"", "NaN"), "it is not JSON: syntax error in line 3, column 15", "no number"},
    {changed("\"VP10 205\"", "True"), "it is not JSON: syntax error in line 3, column 15", "capitals count"},
    {changed("\"VP10 205\"", "tru"), "it is not JSON: syntax error in line 3, column 18", "half a word"},
    {changed("\"VP10 205\"", "trues"), "it is not JSON: syntax error in line 3, column 19", "more than the word"},
};

TEST(FirmwareManifest, SyntaxErrorsAreReportedWithTheirPlace) {
    for (const auto& c : SYNTAX_CASES) EXPECT_EQ(fault(c.text), c.fault) << c.why << '\n' << c.text;
    EXPECT_EQ(fault("\xEF\xBB\xBF" + MANIFEST), "") << "a byte order mark is none of the text";
    EXPECT_EQ(fault("\t\r\n " + MANIFEST + "\t\r\n "), "") << "blanks around it";
}

TEST(FirmwareManifest, BracketsAreCountedWhereverTheyAre) {
    EXPECT_EQ(fault(withKey("\"a\": " + std::string(13, '[') + std::string(13, ']'))), UNKNOWN) << "16";
    EXPECT_EQ(fault(withKey("\"a\": " + std::string(14, '[') + std::string(14, ']'))), "it has too many brackets");
    EXPECT_EQ(fault(changed("VP1001*", std::string(14, '{'))), "it has too many brackets") << "in a text, too";
}

constexpr struct {
    const char* pattern;
    const char* text;
    bool matches;
} PATTERNS[] = {
    {"VP1", "VP1", true},      {"VP1", "VP10", false},    {"VP10", "VP1", false},    {"vp1", "VP1", false},
    {"*", "", true},           {"*", "anything", true},   {"?", "", false},          {"V?1", "VP1", true},
    {"V?1", "V1", false},      {"VP*", "VP", true},       {"*205", "VP205", true},   {"*205", "VP2056", false},
    {"V*1*3", "V01023", true}, {"V*1*3", "V0203", false}, {"*ab*ab", "abaab", true}, {"**", "a", true},
    {"[VP]*", "VP1", false},   {"\\*", "*", false},
};

TEST(FirmwareManifest, PatternsCaseByCase) {
    for (const auto& c : PATTERNS)
        EXPECT_EQ(matchesOne({c.pattern}, c.text), c.matches) << c.pattern << " and " << c.text;
    EXPECT_TRUE(matchesOne({"A", "B"}, "B"));
    EXPECT_FALSE(matchesOne({}, "B"));
}

TEST(FirmwareManifest, APatternOfManyStarsTakesNoTime) {
    std::string pattern;
    for (int i = 0; i < 32; ++i) pattern += "*a";
    EXPECT_FALSE(matchesOne({pattern}, std::string(40, 'a') + "b"));
}

}  // namespace
}  // namespace features::jobs
