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
    EXPECT_EQ(fault(""), "it is not JSON: expected value in line 1");
    EXPECT_EQ(fault("{\n\"models\": }"), "it is not JSON: expected value in line 2");
    EXPECT_EQ(fault(MANIFEST + "x"), "it is not JSON: garbage after data in line 9");
    EXPECT_EQ(fault("[]"), MODELS);
    EXPECT_EQ(fault(std::string(17, '[')), "it has too many brackets") << "the reader recurses for each level";
    EXPECT_EQ(fault(MANIFEST + std::string(MAX_MANIFEST_BYTES - MANIFEST.size(), ' ')), "");
    EXPECT_EQ(fault(MANIFEST + std::string(MAX_MANIFEST_BYTES - MANIFEST.size() + 1, ' ')), "it is too large");
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
