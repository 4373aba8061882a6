#include <gtest/gtest.h>

#include "simdrive/FaultText.h"

namespace simdrive {
namespace {

using features::simulator::Description;
using Faults = std::vector<Fault>;

TEST(FaultText, KnowsEachKind) {
    EXPECT_EQ(noFaults(), (Faults{{"critical-warning", "0x00"},
                                  {"temperature", ""},
                                  {"smart", ""},
                                  {"media-errors", ""},
                                  {"self-test-failure", ""},
                                  {"fail", ""},
                                  {"slow", ""},
                                  {"hang", ""},
                                  {"power-loss", ""},
                                  {"gone", "no"}}));
}

TEST(FaultText, TellsWhatIsWrongAlone) {
    Description description;
    EXPECT_EQ(faultsOf(description), Faults());
    description.faults.temperatureCelsius = 90;
    description.faults.isGone = true;
    EXPECT_EQ(faultsOf(description), (Faults{{"temperature", "90"}, {"gone", "yes"}}));
}

TEST(FaultText, ChangesOneLineAlone) {
    const struct {
        const char* before;
        Fault fault;
        const char* after;
        const char* why;
    } CASES[] = {
        {"; mine\n[drive]\ngone = no\n[faults]\n; why\ngone = no\n\n[x]\ngone = 1\n",
         {"gone", "yes"},
         "; mine\n[drive]\ngone = no\n[faults]\n; why\ngone = yes\n\n[x]\ngone = 1\n",
         "the key of the section, with all comments kept"},
        {"[faults]\n;gone = no\ngoner = no\n",
         {"gone", "yes"},
         "[faults]\ngone = yes\n;gone = no\ngoner = no\n",
         "a comment and a longer key are other lines"},
        {"[faults]\r\n gone=no\r\n", {"gone", "yes"}, "[faults]\r\ngone = yes\n", "line ends of another system"},
        {"[faults]\ntemperature = 90\n", {"temperature", ""}, "[faults]\ntemperature =\n", "an empty value"},
        {"[drive]\nsize = 1\n", {"gone", "yes"}, "[drive]\nsize = 1\n\n[faults]\ngone = yes\n", "no section yet"},
        {"[drive]\n[faults]", {"gone", "yes"}, "[drive]\n[faults]\ngone = yes\n", "an empty section at the end"},
        {"", {"gone", "yes"}, "\n[faults]\ngone = yes\n", "an empty file"},
        {"[faults] ; of today\ngone = no\n[x] ; y\n",
         {"gone", "yes"},
         "[faults] ; of today\ngone = yes\n[x] ; y\n",
         "a comment after the section's name"},
        {" [ faults ]# \n", {"gone", "yes"}, " [ faults ]# \ngone = yes\n", "blanks as the parser takes them"},
        {"[faults]\n# gone = no\n", {"gone", "yes"}, "[faults]\ngone = yes\n# gone = no\n", "the other comments"},
    };
    for (const auto& c : CASES) EXPECT_EQ(withFault(c.before, c.fault), c.after) << c.why;
}

}  // namespace
}  // namespace simdrive
