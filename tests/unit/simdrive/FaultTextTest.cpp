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
                                  {"ana", ""},
                                  {"tcg", "inactive"},
                                  {"attributes", ""},
                                  {"frozen", "no"},
                                  {"locked", "no"},
                                  {"lost-registers", "no"},
                                  {"gone", "no"}}));
}

TEST(FaultText, ExplainsTheOptionOfEachKind) {
    EXPECT_EQ(faultHelp(),
              "      --critical-warning 0x01       bits of the SMART log's field\n"
              "      --temperature 90              degrees Celsius\n"
              "      --smart \"percentage-used 95, power-on-hours 43800\"\n"
              "                                    any field of the SMART log\n"
              "      --media-errors 1:100-107      blocks that cannot be read, NAMESPACE:BLOCKS\n"
              "      --self-test-failure 1:1000    the block at which a self-test fails\n"
              "      --fail \"admin 0x80 0x10A\"     a command, by opcode, and how it ends\n"
              "      --slow \"io all 200\"           commands that take so many milliseconds\n"
              "      --hang \"admin 0x06\"           a command that is never answered\n"
              "      --power-loss \"io 0x01\"        a command over which the power fails\n"
              "      --ana \"2:all inaccessible\"    states of namespaces on a controller\n"
              "      --tcg locked                  locked by its owner (TCG)\n"
              "      --attributes \"5 raw 100, 177 value 3\"\n"
              "                                    SMART attributes of a SATA drive\n"
              "      --frozen yes                  the security feature set is frozen\n"
              "      --locked yes                  locked by an unknown password\n"
              "      --lost-registers yes          its registers do not come back\n"
              "      --gone yes                    the drive has vanished\n");
}

TEST(FaultText, ReportsWhatIsWrongAlone) {
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
        {"[faults\ngone = no\n", {"gone", "yes"}, "[faults\ngone = no\n\n[faults]\ngone = yes\n", "no end of the name"},
        {"[faults]\ngone\n\n", {"gone", "yes"}, "[faults]\ngone = yes\ngone\n\n", "a line without a value is no key"},
        {"[faults]\n# gone = no\n", {"gone", "yes"}, "[faults]\ngone = yes\n# gone = no\n", "the other comments"},
    };
    for (const auto& c : CASES) EXPECT_EQ(withFault(c.before, c.fault), c.after) << c.why;
}

}  // namespace
}  // namespace simdrive
