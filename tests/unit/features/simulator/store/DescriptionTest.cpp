#include <gtest/gtest.h>

#include <set>

#include "features/simulator/store/Description.h"
#include "features/simulator/store/FaultKinds.h"

using features::simulator::AnaState;
using features::simulator::Description;
using features::simulator::ModelId;

namespace {

const std::string WHO = "[drive]\nmodel = velko\nserial-number = S1\nsize = 1 GiB\n";
const std::string SATA = "[drive]\nmodel = sata\nserial-number = S1\nsize = 1 GiB\n";

std::string parsed(const std::string& text) {
    return statusOf(Description::parse(text)).getMessage();
}

TEST(DescriptionOfASimulatedDrive, IsReadAndWritten) {
    const std::string text =
        "; A simulated NVMe drive. Changes count from the next command on.\n"
        "\n"
        "[drive]\n"
        "; The kind of drive: velko (the maker's vendor features), ocp (OCP Datacenter NVMe SSD 2.0), nvme-1.4 "
        "(nothing optional), nvme-2.1 (much of what NVMe 2.0 and 2.1 added), sata (a SATA SSD) or ocp-2.6 (OCP "
        "Datacenter NVMe SSD 2.6).\n"
        "model = ocp\n"
        "serial-number = S-1\n"
        "; The model number that the drive shows; nothing: that of its model.\n"
        "model-number = ACME  X100\n"
        "; Controllers of the NVM subsystem; two have a port each, and report Asymmetric Namespace Access.\n"
        "controllers = 2\n"
        "; What all namespaces together may take: bytes, or with KiB, MiB, GiB, TiB, KB, MB, GB, TB.\n"
        "size = 16 GiB\n"
        "; The time of the drive's clock, in milliseconds since 1970 (UTC); nothing: it goes with the "
        "machine's.\n"
        "clock =\n"
        "\n"
        "[supports]\n"
        "; Optional commands and logs: yes or no.\n"
        "format = yes\n"
        "namespace-management = no\n"
        "sanitize = yes\n"
        "self-test = yes\n"
        "firmware-update = yes\n"
        "telemetry = yes\n"
        "persistent-event-log = yes\n"
        "max-namespaces = 16\n"
        "; The most data that one command carries; 0: no limit.\n"
        "max-transfer-kib = 512\n"
        "; Self-encrypting, with TCG's Level 0 Discovery.\n"
        "security = yes\n"
        "; How long things take.\n"
        "short-self-test-seconds = 10\n"
        "extended-self-test-seconds = 60\n"
        "sanitize-seconds = 0\n"
        "\n"
        "[faults]\n"
        "; Bits of the Critical Warning field of the SMART log that are set.\n"
        "critical-warning = 0x05\n"
        "; The composite temperature in degrees Celsius; nothing: the true one.\n"
        "temperature = -5\n"
        "; Fields of the SMART log, by their names in the standard, and the values that they show.\n"
        "smart = percentage-used 95, power-on-hours 9999999999999999999, temperature-sensor-8 60\n"
        "; Blocks that cannot be read: NAMESPACE:BLOCK or NAMESPACE:FIRST-LAST.\n"
        "media-errors = 1:100-107, 2:500\n"
        "; The block at which a self-test of its namespace fails: NAMESPACE:BLOCK.\n"
        "self-test-failure = 1:1000\n"
        "; Commands that fail, undone: queue (admin, io; ata of a SATA drive), opcode or \"all\", "
        "status (code in bits 7:0, type in 10:8; ata: the register ERROR).\n"
        "fail = admin 0x80 0x10A, io 0x02 0x281\n"
        "; Commands that are answered late: queue, opcode or \"all\", milliseconds.\n"
        "slow = admin 0x06 500, io all 3600000\n"
        "; Commands that are never answered, and not carried out: queue, and opcode or \"all\".\n"
        "hang = admin 0x06\n"
        "; Commands in the middle of which the drive loses its power, undone: queue, and opcode or \"all\".\n"
        "power-loss =\n"
        "; States of ANA groups on a controller, CONTROLLER:GROUP or CONTROLLER:all: optimized, non-optimized, "
        "inaccessible, persistent-loss or change. The group of a namespace is its identifier.\n"
        "ana = 1:1 optimized, 1:all non-optimized, 2:1 inaccessible, 2:2 persistent-loss, 2:4294967295 change\n"
        "; How the owner of a self-encrypting drive left it (TCG); shadowed: locked, with a shadow MBR.\n"
        "tcg = shadowed\n"
        "; The drive has vanished: it is listed and does not answer.\n"
        "gone = yes\n";
    const auto read = Description::parse(text);
    ASSERT_TRUE(read) << read.error().getMessage();
    const Description& description = *read;
    EXPECT_EQ(description.model, ModelId::OCP);
    EXPECT_EQ(description.sizeBytes, uint64_t{16} << 30);
    EXPECT_FALSE(description.supportsNamespaceManagement);
    ASSERT_EQ(description.faults.mediaErrors.size(), 2U);
    EXPECT_EQ(description.faults.mediaErrors[0].first, 100U);
    EXPECT_EQ(description.faults.mediaErrors[0].count, 8U);
    EXPECT_EQ(description.faults.mediaErrors[1].nsid, 2U);
    ASSERT_EQ(description.faults.fail.size(), 2U);
    EXPECT_FALSE(description.faults.fail[1].isAdmin);
    EXPECT_EQ(description.faults.fail[1].statusField, 0x281);
    EXPECT_EQ(description.faults.temperatureCelsius, -5);
    EXPECT_EQ(description.shownModelNumber(), "ACME  X100");
    ASSERT_EQ(description.faults.smart.size(), 3U);
    EXPECT_EQ(description.faults.smart[2].value, 60U);
    EXPECT_EQ(description.faults.selfTestFailure->first, 1000U);
    ASSERT_EQ(description.faults.slow.size(), 2U);
    EXPECT_FALSE(description.faults.slow[0].isAnyOpcode);
    EXPECT_TRUE(description.faults.slow[1].isAnyOpcode);
    EXPECT_EQ(description.faults.slow[1].delayMs, 3600000U);
    EXPECT_TRUE(description.hasTwoControllers);
    ASSERT_EQ(description.faults.ana.size(), 5U);
    EXPECT_EQ(anaStateOf(description.faults.ana, 1, 1), AnaState::NON_OPTIMIZED) << "the last that names it";
    EXPECT_EQ(anaStateOf(description.faults.ana, 2, 2), AnaState::PERSISTENT_LOSS);
    EXPECT_EQ(anaStateOf(description.faults.ana, 2, 3), AnaState::OPTIMIZED);
    EXPECT_EQ(description.faults.tcg, features::simulator::TcgState::SHADOWED);
    EXPECT_EQ(description.toText(), text);
}

TEST(DescriptionOfASimulatedDrive, OfASataDriveHasItsOwnKeys) {
    const std::string text =
        "; A simulated SATA drive. Changes count from the next command on.\n"
        "\n"
        "[drive]\n"
        "; The kind of drive: velko (the maker's vendor features), ocp (OCP Datacenter NVMe SSD 2.0), nvme-1.4 "
        "(nothing optional), nvme-2.1 (much of what NVMe 2.0 and 2.1 added), sata (a SATA SSD) or ocp-2.6 (OCP "
        "Datacenter NVMe SSD 2.6).\n"
        "model = sata\n"
        "serial-number = S-1\n"
        "; The model number that the drive shows; nothing: that of its model.\n"
        "model-number =\n"
        "; What all namespaces together may take: bytes, or with KiB, MiB, GiB, TiB, KB, MB, GB, TB.\n"
        "size = 16 GiB\n"
        "; The time of the drive's clock, in milliseconds since 1970 (UTC); nothing: it goes with the "
        "machine's.\n"
        "clock =\n"
        "\n"
        "[supports]\n"
        "sanitize = no\n"
        "self-test = yes\n"
        "firmware-update = yes\n"
        "telemetry = yes\n"
        "; Self-encrypting, with TCG's Level 0 Discovery.\n"
        "security = yes\n"
        "; The maximum LBA is set by ACCESSIBLE MAX ADDRESS; no: by the Host Protected Area feature set.\n"
        "accessible-max-address = no\n"
        "; DOWNLOAD MICROCODE takes an image in pieces; no: in one command alone.\n"
        "firmware-pieces = no\n"
        "; How long things take.\n"
        "short-self-test-seconds = 10\n"
        "extended-self-test-seconds = 60\n"
        "sanitize-seconds = 10\n"
        "\n"
        "[faults]\n"
        "; The composite temperature in degrees Celsius; nothing: the true one.\n"
        "temperature =\n"
        "; Fields of the SMART log, by their names in the standard, and the values that they show.\n"
        "smart = percentage-used 95\n"
        "; Blocks that cannot be read: NAMESPACE:BLOCK or NAMESPACE:FIRST-LAST.\n"
        "media-errors = 1:5\n"
        "; The block at which a self-test of its namespace fails: NAMESPACE:BLOCK.\n"
        "self-test-failure =\n"
        "; Commands that fail, undone: queue (admin, io; ata of a SATA drive), opcode or \"all\", "
        "status (code in bits 7:0, type in 10:8; ata: the register ERROR).\n"
        "fail = ata 0xB0 0x004\n"
        "; Commands that are answered late: queue, opcode or \"all\", milliseconds.\n"
        "slow = ata all 5\n"
        "; Commands that are never answered, and not carried out: queue, and opcode or \"all\".\n"
        "hang =\n"
        "; Commands in the middle of which the drive loses its power, undone: queue, and opcode or \"all\".\n"
        "power-loss = ata 0xF4\n"
        "; How the owner of a self-encrypting drive left it (TCG); shadowed: locked, with a shadow MBR.\n"
        "tcg = locked\n"
        "; SMART attributes by number, and what their value, worst or raw value shows.\n"
        "attributes = 5 raw 281474976710655, 5 value 3, 177 worst 1\n"
        "; The firmware of the host froze the security feature set at boot.\n"
        "frozen = yes\n"
        "; The drive is locked by a password that is not known.\n"
        "locked = yes\n"
        "; The drive's registers do not reach the host, as through some USB bridges.\n"
        "lost-registers = yes\n"
        "; The drive has vanished: it is listed and does not answer.\n"
        "gone = no\n";
    const auto read = Description::parse(text);
    ASSERT_TRUE(read) << read.error().getMessage();
    EXPECT_EQ(read->model, ModelId::SATA);
    EXPECT_FALSE(read->supportsAccessibleMaxAddress);
    EXPECT_FALSE(read->supportsFirmwarePieces);
    EXPECT_TRUE(read->faults.fail[0].isAta);
    EXPECT_EQ(read->faults.fail[0].statusField, 0x04);
    ASSERT_EQ(read->faults.attributes.size(), 3U);
    EXPECT_EQ(read->faults.attributes[0].number, 0xFFFFFFFFFFFFU);
    EXPECT_EQ(read->toText(), text);
}

TEST(DescriptionOfASimulatedDrive, HasDefaults) {
    const auto description = Description::parse(WHO);
    ASSERT_TRUE(description) << description.error().getMessage();
    EXPECT_TRUE(description->supportsSanitize);
    EXPECT_EQ(description->maxNamespaces, 16U);
    EXPECT_FALSE(description->faults.isGone);
    EXPECT_FALSE(description->faults.temperatureCelsius.has_value());
}

TEST(DescriptionOfASimulatedDrive, HasSizesAndTransfersAsTheyWereGiven) {
    const auto lineOf = [](const std::string& text, const std::string& key) {
        const std::string whole = Description::parse(text).value_or(Description()).toText();
        const size_t at = whole.find("\n" + key + " =") + 1;
        return whole.substr(at, whole.find('\n', at) - at);
    };
    const std::string drive = "[drive]\nmodel = ocp\nserial-number = S1\nsize = ";
    EXPECT_EQ(lineOf(drive + "1048577\n", "size"), "size = 1048577");
    EXPECT_EQ(lineOf(drive + "1073741824\n", "size"), "size = 1 GiB");
    EXPECT_EQ(lineOf(drive + "16000000000\n", "size"), "size = 16 GB");
    EXPECT_EQ(lineOf(WHO + "[supports]\nmax-transfer-kib = 0\n", "max-transfer-kib"), "max-transfer-kib = 0");
    EXPECT_EQ(lineOf(WHO + "clock = 281474976710655\n", "clock"), "clock = 281474976710655");
    EXPECT_EQ(lineOf(WHO + "[faults]\nhang = admin all\n", "hang"), "hang = admin all");
}

TEST(DescriptionOfASimulatedDrive, IsRefusedWithTheReason) {
    constexpr const char* WRONG_ATTRIBUTES = "\"attributes\" takes attributes like \"5 raw 100, 177 value 3\".";
    constexpr const char* WRONG_BLOCKS = "\"media-errors\" takes blocks like \"1:100-107, 1:500\".";
    constexpr const char* WRONG_ANA = "\"ana\" takes states like \"1:all inaccessible, 2:1 non-optimized\".";
    const struct {
        std::string text;
        const char* message;
    } CASES[] = {
        {"", "\"model\" is missing in [drive]."},
        {"[drive]\nmodel = ocp\n", "\"serial-number\" is missing in [drive]."},
        {"[drive]\nmodel = ocp\nserial-number = a b\nsize = 1\n",
         "\"serial-number\" takes 1 to 20 visible characters."},
        {"[drive]\nmodel = ocp\nserial-number = 123456789012345678901\nsize = 1\n",
         "\"serial-number\" takes 1 to 20 visible characters."},
        {"[drive]\nmodel = ocp\nserial-number = a\nsize = 1048575\n",
         "\"size\" takes 1 MiB to 8 TiB, for instance \"16 GiB\"."},
        {"[drive]\nmodel = ocp\nserial-number = a\nsize = 9 TiB\n",
         "\"size\" takes 1 MiB to 8 TiB, for instance \"16 GiB\"."},
        {"[drive]\nmodel = ocp\nserial-number = a\nsize = 16 Gib\n",
         "\"size\" takes 1 MiB to 8 TiB, for instance \"16 GiB\"."},
        {"[drive]\nmodel = ocp\nserial-number = a\nsize = 16G\n",
         "\"size\" takes 1 MiB to 8 TiB, for instance \"16 GiB\"."},
        {"[drive]\nmodel = ocp\nserial-number = a\nsize = GiB\n",
         "\"size\" takes 1 MiB to 8 TiB, for instance \"16 GiB\"."},
        {"[drive]\nmodel = ocp\nserial-number = a\nsize = 18446744073709551615 TiB\n",
         "\"size\" takes 1 MiB to 8 TiB, for instance \"16 GiB\"."},
        {WHO + "[supports]\nformat = maybe\n", "\"format\" takes \"yes\" or \"no\"."},
        {WHO + "[supports]\nmax-transfer-kib = 12\n",
         "\"max-transfer-kib\" takes 0 or a power of two from 8 to 16384."},
        // MDTS would be 0, which means no limit.
        {WHO + "[supports]\nmax-transfer-kib = 4\n", "\"max-transfer-kib\" takes 0 or a power of two from 8 to 16384."},
        {WHO + "[supports]\ntelemetry-mib = 1\n", "\"telemetry-mib\" is not for drives of the model \"velko\"."},
        {WHO + "[supports]\ntelemetry-mib = 1025\n", "\"telemetry-mib\" takes 0 to 1024."},
        {WHO + "[supports]\nmax-namespaces = 0\n", "\"max-namespaces\" takes 1 to 1024."},
        {WHO + "[supports]\nsanitise = yes\n", "\"sanitise\" is an unknown key of [supports]."},
        {WHO + "[fault]\nhang = admin 0x06\n", "\"hang\" is an unknown key of [fault]."},
        {"model = ocp\n" + WHO, "\"model\" is outside of any section."},
        {WHO + "[faults]\ntemperature = 201\n", "\"temperature\" takes -100 to 200, or nothing."},
        {WHO + "[faults]\ntemperature = -\n", "\"temperature\" takes -100 to 200, or nothing."},
        {WHO + "[faults]\nmedia-errors = 100\n", WRONG_BLOCKS},
        {WHO + "[faults]\nmedia-errors = 1:7-5\n", WRONG_BLOCKS},
        {WHO + "[faults]\nmedia-errors = a:1\n", WRONG_BLOCKS},
        {WHO + "[faults]\nmedia-errors = 1:a\n", WRONG_BLOCKS},
        {WHO + "[faults]\nmedia-errors = 1:1-a\n", WRONG_BLOCKS},
        {WHO + "[faults]\nmedia-errors = 1:0-18446744073709551615\n", WRONG_BLOCKS},
        {WHO + "[faults]\nfail = admin 0x80\n", "\"fail\" takes commands like \"admin 0x80 0x10A\"."},
        {WHO + "[faults]\nfail = admin 0x80 0x800\n", "\"fail\" takes commands like \"admin 0x80 0x10A\"."},
        {WHO + "[faults]\nhang = admin 0x100\n", "\"hang\" takes commands like \"admin 0x06, io 0x02\"."},
        {WHO + "[faults]\nhang = admin 0x06 0x07 0x08\n", "\"hang\" takes commands like \"admin 0x06, io 0x02\"."},
        {WHO + "[faults]\nfail = admin 0x06 0x07 0x08\n", "\"fail\" takes commands like \"admin 0x80 0x10A\"."},
        {"[drive]\nmodel = ocp\nserial-number = \nsize = 1\n", "\"serial-number\" takes 1 to 20 visible characters."},
        {"[drive]\nmodel = ocp\nserial-number = \xC3\xA4\nsize = 1\n",
         "\"serial-number\" takes 1 to 20 visible characters."},
        {WHO + "[faults]\nhang = all 0x06\n", "\"hang\" takes commands like \"admin 0x06, io 0x02\"."},
        {WHO + "[faults]\nhang = admin 0x06 0x07\n", "\"hang\" takes commands like \"admin 0x06, io 0x02\"."},
        {WHO + "model-number = 12345678901234567890123456789012345678901\n",
         "\"model-number\" takes 1 to 40 printable ASCII characters, without blanks at the ends, or nothing."},
        {WHO + "model-number = caf\xC3\xA9\n",
         "\"model-number\" takes 1 to 40 printable ASCII characters, without blanks at the ends, or nothing."},
        {WHO + "[faults]\nsmart = rust 5\n",
         "\"smart\" takes fields like \"percentage-used 95, power-on-hours 43800\"."},
        {WHO + "[faults]\nsmart = percentage-used 256\n",
         "\"smart\" takes fields like \"percentage-used 95, power-on-hours 43800\"."},
        {WHO + "[faults]\nsmart = available-spare 1 2\n",
         "\"smart\" takes fields like \"percentage-used 95, power-on-hours 43800\"."},
        {WHO + "[faults]\nsmart = available-spare 1, available-spare 1\n",
         "\"smart\" takes fields like \"percentage-used 95, power-on-hours 43800\"."},
        {SATA + "controllers = 2\n", "\"controllers\" is not for drives of the model \"sata\"."},
        {SATA + "[faults]\nana = 1:1 optimized\n", "\"ana\" is not for drives of the model \"sata\"."},
        {WHO + "[faults]\nfrozen = yes\n", "\"frozen\" is not for drives of the model \"velko\"."},
        {WHO + "[faults]\nhang = ata 0xEC\n",
         "Faulty commands of a SATA drive begin with \"ata\", of others with \"admin\" or \"io\"."},
        {SATA + "[faults]\nslow = io all 5\n",
         "Faulty commands of a SATA drive begin with \"ata\", of others with \"admin\" or \"io\"."},
        {SATA + "[faults]\nfail = ata 0xEC 0x100\n", "\"fail\" takes commands like \"admin 0x80 0x10A\"."},
        {SATA + "[faults]\nattributes = 5 raw 281474976710656\n", WRONG_ATTRIBUTES},
        {SATA + "[faults]\nattributes = 5 value 256\n", WRONG_ATTRIBUTES},
        {SATA + "[faults]\nattributes = 0 value 1\n", WRONG_ATTRIBUTES},
        {SATA + "[faults]\nattributes = 5 value 1, 5 value 2\n", WRONG_ATTRIBUTES},
        {SATA + "[faults]\nattributes = 5 flags 1\n", WRONG_ATTRIBUTES},
        {SATA + "[faults]\nattributes = 5 raw 1 2\n", WRONG_ATTRIBUTES},
        {WHO + "controllers = 3\n", "\"controllers\" takes 1 or 2."},
        {WHO + "[faults]\nana = 1:1 change\n", "\"ana\" needs a drive with \"controllers\" 2 in [drive]."},
        {WHO + "controllers = 2\n[faults]\nana = 3:1 change\n", WRONG_ANA},
        {WHO + "controllers = 2\n[faults]\nana = 0:1 change\n", WRONG_ANA},
        {WHO + "controllers = 2\n[faults]\nana = 1:0 change\n", WRONG_ANA},
        {WHO + "controllers = 2\n[faults]\nana = 1 change\n", WRONG_ANA},
        {WHO + "controllers = 2\n[faults]\nana = 1:1\n", WRONG_ANA},
        {WHO + "controllers = 2\n[faults]\nana = 1:1 Change\n", WRONG_ANA},
        {WHO + "controllers = 2\n[faults]\nana = 1:1 change now\n", WRONG_ANA},
        {WHO + "[faults]\ntcg = locked\n", "\"tcg\" needs a drive with \"security\" yes in [supports]."},
        {WHO + "[supports]\nsecurity = yes\n[faults]\ntcg = yes\n",
         "\"tcg\" takes \"inactive\", \"unlocked\", \"locked\" or \"shadowed\"."},
        {SATA + "[faults]\ntcg = locked\n", "\"tcg\" needs a drive with \"security\" yes in [supports]."},
        {WHO + "[faults]\nself-test-failure = 1:2-3\n",
         "\"self-test-failure\" takes a block like \"1:1000\", or nothing."},
        {WHO + "[faults]\nself-test-failure = 1:2, 1:3\n",
         "\"self-test-failure\" takes a block like \"1:1000\", or nothing."},
        {WHO + "[faults]\nslow = admin 0x06\n", "\"slow\" takes commands like \"admin 0x06 500\", at most 3600000."},
        {WHO + "[faults]\nslow = io all 0\n", "\"slow\" takes commands like \"admin 0x06 500\", at most 3600000."},
        {WHO + "[faults]\nslow = io all 3600001\n",
         "\"slow\" takes commands like \"admin 0x06 500\", at most 3600000."},
        {WHO + "model = ocp\n", "Line 5: duplicate key name."},
        {WHO + "nonsense\n", "Line 5: '=' character not found in line."},
        {WHO + " = value\n", "Line 5: key expected."},
        {WHO + "\n\t[faults\n", "Line 6: unmatched '['."},
        {WHO + "[faults]\nana =\n[drive]\n", "Line 7: duplicate section name."},
        {"model = velko\n" + WHO, "\"model\" is outside of any section."},
        {"drive = velko\n" + WHO, "Line 2: duplicate section name."},
    };
    for (const auto& c : CASES) EXPECT_EQ(parsed(c.text), c.message) << c.text;
}

TEST(DescriptionOfASimulatedDrive, HasAKindOfFaultForEachKeyOfTheSection) {
    Description sata;
    sata.setModel(ModelId::SATA);
    std::set<std::string> keys;
    for (const Description& description : {Description(), sata}) {
        const std::string text = description.toText();
        size_t at = text.find("[faults]");
        while ((at = text.find(" =", at + 1)) != std::string::npos) {
            const size_t line = text.rfind('\n', at) + 1;
            keys.insert(text.substr(line, at - line));
        }
    }
    std::set<std::string> kinds;
    for (const auto& kind : features::simulator::faultKinds()) kinds.insert(kind.key);
    EXPECT_EQ(kinds, keys);
}

}  // namespace
