#include <gtest/gtest.h>

#include "exporter/Options.h"

namespace exporter {
namespace {

using Words = std::vector<std::string>;

TEST(Options, ChooseTheModeByTheirWords) {
    EXPECT_EQ(parseOptions({}).mode, Mode::TEXT_FILE);
    EXPECT_EQ(parseOptions({"--help"}).mode, Mode::HELP);
    EXPECT_EQ(parseOptions({"--version"}).mode, Mode::VERSION);
    EXPECT_EQ(parseOptions({"--list-metrics"}).mode, Mode::LIST_METRICS);
    EXPECT_EQ(parseOptions({"--check"}).mode, Mode::CHECK);
    EXPECT_EQ(parseOptions({"--listen"}).mode, Mode::LISTEN);
    for (const Words& words : {Words{}, Words{"--help"}, Words{"--check"}, Words{"--listen"}})
        EXPECT_EQ(parseOptions(words).error, "");
}

TEST(Options, HaveValuesOfTheirOwn) {
    const Options file = parseOptions({"--output", "-", "--no-snapshots", "--time-limit", "7", "--parallel", "3"});
    EXPECT_EQ(file.error, "");
    EXPECT_EQ(file.output, "-");
    EXPECT_FALSE(file.keepsSnapshots);
    EXPECT_EQ(file.limits.time, std::chrono::seconds(7));
    EXPECT_EQ(file.limits.parallel, 3U);
    const Options usual = parseOptions({});
    EXPECT_EQ(usual.output, "/var/lib/prometheus/node-exporter/nimbrel.prom");
    EXPECT_TRUE(usual.keepsSnapshots);
    EXPECT_EQ(usual.limits.time, std::chrono::seconds(20));
    EXPECT_EQ(usual.limits.parallel, 64U);
    EXPECT_EQ(parseOptions({"--check", "--drive", "S1", "--drive", "S2"}).drives, (Words{"S1", "S2"}));
    const Options listener = parseOptions({"--listen", "--interval", "5"});
    EXPECT_EQ(listener.error, "");
    EXPECT_EQ(listener.address, "127.0.0.1:9826");
    EXPECT_EQ(listener.intervalSeconds, 5U);
}

TEST(Options, TakeAnAddressWithAPort) {
    EXPECT_EQ(parseOptions({"--listen"}).address, "127.0.0.1:9826");
    for (const char* address : {"127.0.0.1:1", "0.0.0.0:65535", "[::1]:9826", "[FE80::1]:09826", ":::80"}) {
        const Options options = parseOptions({"--listen", address});
        EXPECT_EQ(options.error, "") << address;
        EXPECT_EQ(options.address, address);
    }
    for (const char* address : {"9826", ":9826", "127.0.0.1", "127.0.0.1:", "127.0.0.1:0", "127.0.0.1:65536",
                                "127.0.0.1:123456", "127.0.0.1:-1", "127.0.0.1:80x", "host.example:80"})
        EXPECT_EQ(parseOptions({"--listen", address}).error, "'" + std::string(address) + "' is not ADDRESS:PORT.");
}

TEST(Options, RefuseWhatAnotherModeWouldPassOver) {
    const char* const exclusive = "--check, --listen, --list-metrics, --help and --version exclude each other.";
    const char* const ofFile = "--output and --no-snapshots are for the text file.";
    const char* const ofCheck = "--drive, -w and -c need --check.";
    const char* const ofListen = "--interval needs --listen.";
    const struct {
        Words words;
        const char* error;
    } CASES[] = {
        {{"--check", "--listen"}, exclusive},
        {{"--help", "--version"}, exclusive},
        {{"--list-metrics", "--check"}, exclusive},
        {{"--check", "--output", "-"}, ofFile},
        {{"--listen", "--no-snapshots"}, ofFile},
        {{"--version", "--output", "-"}, ofFile},
        {{"--drive", "S1"}, ofCheck},
        {{"--listen", "--drive", "S1"}, ofCheck},
        {{"-w", "media_errors=0"}, ofCheck},
        {{"--list-metrics", "-c", "media_errors=0"}, ofCheck},
        {{"--interval", "5"}, ofListen},
        {{"--check", "--interval", "5"}, ofListen},
        {{"--check", "-w", "heat=1"}, "'heat=1' is not QUANTITY=RANGE; the quantities are in --help."},
        {{"--check", "-c", "heat=1"}, "'heat=1' is not QUANTITY=RANGE; the quantities are in --help."},
        {{"--check", "-w", "heat=1", "-w", "cold=1"}, "'heat=1' is not QUANTITY=RANGE; the quantities are in --help."},
        {{"--check", "-w", "heat=1", "-c", "cold=1"}, "'heat=1' is not QUANTITY=RANGE; the quantities are in --help."},
    };
    for (const auto& c : CASES) EXPECT_EQ(parseOptions(c.words).error, c.error) << testing::PrintToString(c.words);
}

TEST(Options, OfACheckThatAreWrongAreAnsweredInItsForm) {
    EXPECT_EQ(parseOptions({"--check", "--interval", "5"}).mode, Mode::CHECK);
    EXPECT_EQ(parseOptions({"--check", "--unknown"}).mode, Mode::CHECK);
    EXPECT_EQ(parseOptions({"--listen", "--check"}).mode, Mode::CHECK);
    EXPECT_EQ(parseOptions({"--unknown"}).mode, Mode::TEXT_FILE);
    EXPECT_NE(parseOptions({"--unknown"}).error, "");
    EXPECT_NE(parseOptions({"--check", "--time-limit", "0"}).error, "");
    EXPECT_NE(parseOptions({"--parallel", "1025"}).error, "");
}

}  // namespace
}  // namespace exporter
