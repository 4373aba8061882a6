#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/DeviceFinder.h"
#include "ostrel/core/DeviceFinderExtension.h"
#include "ostrel/core/DeviceManager.h"
#include "ostrel/core/Strings.h"
#include "tests/support/LogCapture.h"
#include "tests/support/VirtualSlots.h"
#include "tests/unit/core/DeviceParts.h"

namespace ostrel::core {
namespace {

namespace vocabulary = attributes::device;
using Devices = std::vector<std::shared_ptr<Device>>;
using Texts = std::vector<std::string>;
using Scan = std::function<void(Devices&)>;

class HookedFinder : public DeviceFinder {
public:
    HookedFinder(std::string name, Scan hook) : DeviceFinder(std::move(name)), hook(std::move(hook)) {}
    void scan(Devices& devices) override { hook(devices); }
    std::unique_ptr<DeviceFinder> clone() const override { return std::make_unique<HookedFinder>(*this); }

    Scan hook;
};

class HookedExtension : public DeviceFinderExtension {
public:
    HookedExtension(std::string name, uint8_t priority, Scan hook)
        : DeviceFinderExtension(std::move(name), priority), hook(std::move(hook)) {}
    void scan(Devices& devices) override { hook(devices); }
    std::unique_ptr<DeviceFinderExtension> clone() const override { return std::make_unique<HookedExtension>(*this); }

    Scan hook;
};

void set(Device& device, Attribute attribute, const std::string& text) {
    attribute.setValue(text);
    device.setAttribute(attribute);
}

template <typename Number>
void setNumber(Device& device, Attribute attribute, Number value) {
    attribute.setValue(value);
    device.setAttribute(attribute);
}

std::shared_ptr<Device> deviceAt(const std::string& path, const std::string& serialNumber = "") {
    auto device = std::make_shared<Device>();
    set(*device, vocabulary::devicePath(), path);
    if (!serialNumber.empty()) set(*device, vocabulary::serialNumber(), serialNumber);
    return device;
}

// A finder of what is in `devices` at the time of the scan.
HookedFinder finderOf(Devices devices, const std::string& name = "Finder") {
    return {name, [devices](Devices& found) { found.insert(found.end(), devices.begin(), devices.end()); }};
}

std::string textOfAttribute(const Device& device, const Attribute& attribute) {
    return device.hasAttribute(attribute.getName()) ? device.getAttribute(attribute).getText() : "-";
}

// The paths in order, each with its index: "0 /dev/a".
Texts listed(DeviceManager& manager) {
    Texts texts;
    for (const auto& device : manager.getDevices())
        texts.push_back(textOfAttribute(*device, vocabulary::index()) + " " +
                        textOfAttribute(*device, vocabulary::devicePath()));
    return texts;
}

// What scan() leaves of these devices.
Texts scanned(const Devices& devices) {
    DeviceManager manager;
    manager.addDeviceFinder(finderOf(devices));
    manager.scan();
    return listed(manager);
}

// Registration.

TEST(DeviceManager, BeginsEmpty) {
    DeviceManager manager;
    EXPECT_TRUE(manager.getDevices().empty());
    EXPECT_TRUE(manager.getDeviceFinders().empty());
    EXPECT_TRUE(manager.getDeviceFinderExtensions().empty());
}

Texts namesOf(DeviceManager& manager) {
    Texts names;
    for (const auto& finder : manager.getDeviceFinders()) names.push_back(finder->name);
    for (const auto& extension : manager.getDeviceFinderExtensions()) names.push_back(extension->name);
    return names;
}

TEST(DeviceManager, SecondRegistrationOfANameGoesToTheEnd) {
    DeviceManager manager;
    for (const char* name : {"A", "B", "a", "A"}) manager.addDeviceFinder(finderOf({}, name));
    for (const char* name : {"X", "Y", "x", "X"})
        manager.addDeviceFinderExtension(HookedExtension(name, 0, [](Devices&) {}));
    EXPECT_EQ(namesOf(manager), (Texts{"B", "a", "A", "Y", "x", "X"})) << "the names' case counts";
}

TEST(DeviceManager, WhatIsRegisteredCanBeRegisteredAgain) {
    DeviceManager manager;
    for (const char* name : {"A", "B"}) manager.addDeviceFinder(finderOf({deviceAt(name)}, name));
    manager.addDeviceFinder(*manager.getDeviceFinders().front());
    EXPECT_EQ(namesOf(manager), (Texts{"B", "A"}));
    manager.scan();
    EXPECT_EQ(listed(manager), (Texts{"0 A", "1 B"}));
}

TEST(DeviceManager, FindersAndExtensionsAreFoundByExactName) {
    DeviceManager manager;
    const HookedFinder finder = finderOf({}, "A");
    const HookedExtension extension("X", 0, [](Devices&) {});
    manager.addDeviceFinder(finder);
    manager.addDeviceFinderExtension(extension);
    ASSERT_NE(manager.getDeviceFinder("A"), nullptr);
    EXPECT_NE(manager.getDeviceFinder("A").get(), &finder) << "a clone";
    EXPECT_EQ(manager.getDeviceFinder("a"), nullptr);
    EXPECT_EQ(manager.getDeviceFinder("X"), nullptr);
    ASSERT_NE(manager.getDeviceFinderExtension("X"), nullptr);
    EXPECT_NE(manager.getDeviceFinderExtension("X").get(), &extension);
    EXPECT_EQ(manager.getDeviceFinderExtension("x"), nullptr);
}

TEST(DeviceManager, AddedDeviceIsACopyWithoutANumber) {
    DeviceManager manager;
    const auto device = deviceAt("/dev/a");
    manager.addDevice(*device);
    set(*device, vocabulary::devicePath(), "/dev/b");
    EXPECT_EQ(listed(manager), (Texts{"- /dev/a"}));
}

// Scan.

TEST(DeviceManager, ScanWithoutFindersEmptiesTheList) {
    DeviceManager manager;
    manager.addDevice(*deviceAt("/dev/a"));
    const LogCapture log(LOGSEVERITY_INFO);
    manager.scan();
    EXPECT_TRUE(manager.getDevices().empty());
    EXPECT_EQ(log.list(), Texts());
}

TEST(DeviceManager, ScanAsksFindersInOrderAndThenExtensionsByPriority) {
    Texts calls;
    const auto noting = [&calls](const std::string& name) {
        return [&calls, name](Devices& devices) {
            calls.push_back(name + " sees " + std::to_string(devices.size()));
            devices.push_back(deviceAt("/dev/" + name));
        };
    };
    DeviceManager manager;
    manager.addDevice(*deviceAt("/dev/of an earlier time"));
    manager.addDeviceFinderExtension(HookedExtension("late", 200, noting("late")));
    manager.addDeviceFinderExtension(HookedExtension("early", 3, noting("early")));
    manager.addDeviceFinder(HookedFinder("z", noting("z")));
    manager.addDeviceFinder(HookedFinder("a", noting("a")));
    manager.scan();
    EXPECT_EQ(calls, (Texts{"z sees 0", "a sees 1", "early sees 2", "late sees 3"}));
    EXPECT_EQ(listed(manager), (Texts{"0 /dev/a", "1 /dev/early", "2 /dev/late", "3 /dev/z"}));
    EXPECT_EQ(namesOf(manager), (Texts{"z", "a", "early", "late"})) << "the extensions themselves are sorted";
}

TEST(DeviceManager, ExtensionMayChangeAndRemoveWhatWasFound) {
    DeviceManager manager;
    manager.addDeviceFinder(finderOf({deviceAt("/dev/a"), deviceAt("/dev/b")}));
    manager.addDeviceFinderExtension(HookedExtension("X", 0, [](Devices& devices) {
        devices.erase(devices.begin());
        set(*devices.front(), vocabulary::devicePath(), "/dev/changed");
    }));
    manager.scan();
    EXPECT_EQ(listed(manager), (Texts{"0 /dev/changed"}));
}

TEST(DeviceManager, ExceptionOfAFinderEndsTheScan) {
    DeviceManager manager;
    manager.addDevice(*deviceAt("/dev/a"));
    manager.addDeviceFinder(HookedFinder("A", [](Devices&) { throw std::runtime_error("of the finder"); }));
    EXPECT_THROW(manager.scan(), std::runtime_error);
    EXPECT_TRUE(manager.getDevices().empty());
}

TEST(DeviceManager, ScanKeepsWhatAFinderAddedToTheManagerItself) {
    DeviceManager manager;
    manager.addDeviceFinder(HookedFinder("A", [&](Devices& found) {
        manager.addDevice(*deviceAt("/dev/b"));
        found.push_back(deviceAt("/dev/a"));
    }));
    manager.scan();
    EXPECT_EQ(listed(manager), (Texts{"0 /dev/a", "1 /dev/b"}));
}

TEST(DeviceManager, ScanReplacesTheDevicesButLeavesThoseThatAreHeld) {
    DeviceManager manager;
    manager.addDeviceFinder(HookedFinder("A", [](Devices& found) { found.push_back(deviceAt("/dev/a")); }));
    manager.scan();
    const auto held = manager.getDevices().front();
    manager.scan();
    EXPECT_NE(manager.getDevices().front(), held);
    EXPECT_EQ(textOfAttribute(*held, vocabulary::devicePath()), "/dev/a");
    EXPECT_EQ(manager.removeDevice(held), 0) << "it no longer belongs to the list";
}

std::shared_ptr<Device> raidDevice(const std::string& path, const std::string& flagBytes) {
    auto device = deviceAt(path);
    Attribute raid = vocabulary::raidMember();
    raid.setValue(flagBytes.data(), flagBytes.size());
    device->setAttribute(raid);
    return device;
}

TEST(DeviceManager, RaidMembersComeAfterAllOthersEachGroupByPath) {
    const auto nameless = std::make_shared<Device>();
    EXPECT_EQ(scanned({raidDevice("/dev/a", "\1"), deviceAt("/dev/c"), raidDevice("/dev/B", std::string("\0", 1)),
                       raidDevice("/dev/\xE4", "\1"), raidDevice("/dev/b", "\2"), deviceAt("/dev/ca"),
                       raidDevice("/dev/e", ""), raidDevice("/dev/Z", "\1"), nameless}),
              (Texts{"0 -", "1 /dev/B", "2 /dev/b", "3 /dev/c", "4 /dev/ca", "5 /dev/e", "6 /dev/Z", "7 /dev/a",
                     "8 /dev/\xE4"}))
        << "by unsigned bytes; only a first byte of 1 makes a member; no path counts as the empty one";
}

TEST(DeviceManager, EqualPathsAreAdjacent) {
    EXPECT_EQ(scanned({deviceAt("/dev/b"), deviceAt("/dev/a"), deviceAt("/dev/b")}),
              (Texts{"0 /dev/a", "1 /dev/b", "2 /dev/b"}));
}

TEST(DeviceManager, EveryDeviceGetsAllConnectionsByPriority) {
    const auto notes = std::make_shared<NotingConnection::Notes>();
    DeviceManager manager;
    manager.addConnection(NotingConnection("late", notes, 200));
    manager.addConnection(NotingConnection("early", notes, 3));
    const auto old = deviceAt("/dev/a");
    old->getConnections() = {std::make_shared<NotingConnection>("of an earlier time", notes)};
    manager.addDeviceFinder(finderOf({old, deviceAt("/dev/b")}));
    manager.scan();
    for (const auto& device : manager.getDevices()) {
        ASSERT_EQ(device->getConnections().size(), 2u);
        EXPECT_EQ(device->getConnections()[0]->name, "early");
        EXPECT_EQ(device->getConnections()[1]->name, "late");
    }
    EXPECT_EQ(manager.getDevices()[0]->getConnections(), manager.getDevices()[1]->getConnections()) << "shared";
    EXPECT_EQ(*notes, Texts()) << "opened only when the devices are initialized";
}

TEST(DeviceManager, ScanInitializesDevicesOnDemand) {
    const auto notes = std::make_shared<NotingConnection::Notes>();
    DeviceManager manager;
    NotingConnection connection("driver", notes);
    connection.openStatus = Status(1, 2, "refused");
    manager.addConnection(connection);
    manager.addDeviceFinder(finderOf({deviceAt("/dev/a")}));
    manager.scan();
    EXPECT_FALSE(manager.getDevices().front()->hasAttribute("DeviceStatus"));
    manager.setCalculateDeviceStatus(true);
    manager.scan();
    EXPECT_EQ(textOfAttribute(*manager.getDevices().front(), vocabulary::deviceStatus()), "Healthy")
        << "the status of the initialization is dropped";
    EXPECT_EQ(*notes, (Texts{"open driver"})) << "with the connections in place";
}

TEST(DeviceManager, IndexIsASignedNumberThatReplacesAnEarlierOne) {
    DeviceManager manager;
    const auto device = deviceAt("/dev/a");
    set(*device, vocabulary::index(), "of an earlier time");
    manager.addDeviceFinder(finderOf({device}));
    manager.scan();
    const Attribute index = device->getAttribute(vocabulary::index());
    EXPECT_EQ(index.getType(), "sint32");
    EXPECT_EQ(index.getSize(), 4u);
    EXPECT_EQ(index.getText(), "0");
}

TEST(DeviceManager, ScanLogsWhatItFound) {
    const auto device = deviceAt("/dev/a", "S1");
    device->setAttribute(Attribute("alpha", "Alpha Name", "uint8", uint8_t{7}));
    device->getPartitions().push_back({{"Path", textAttribute("Path", "/mnt")}});
    device->getPartitions().emplace_back();
    device->addCommandSet("NVMe", "Driver");
    device->addCommandSet("ATA", "Other");
    device->addCommandPath(EchoPath("Driver"));
    DeviceManager manager;
    manager.addDeviceFinder(finderOf({device, deviceAt("/dev/b")}, "F"));
    manager.addDeviceFinderExtension(HookedExtension("X", 0, [](Devices&) {}));
    const LogCapture log(LOGSEVERITY_INFO);
    manager.scan();
    EXPECT_EQ(log.list(), (Texts{
                              "[info] Calling device finder: F",
                              "[info] Calling device finder extension: X",
                              "[info] Device 0",
                              "[info] Alpha Name = 7",
                              "[info] Device Path = /dev/a",
                              "[info] Index = 0",
                              "[info] Serial Number = S1",
                              "[info] Partition: /mnt",
                              "[info] Partition: ",
                              "[info] Command Set = ATA supported by Command Path = Other",
                              "[info] Command Set = NVMe supported by Command Path = Driver",
                              "[info] Command Path: Driver",
                              "[info] Device 1",
                              "[info] Device Path = /dev/b",
                              "[info] Index = 1",
                          }))
        << "and no second numbering without an LSI controller";
}

// Duplicates on an LSI controller.

TEST(DeviceManager, DriveSeenThroughLsiAndAnotherPathStaysUnderTheOther) {
    EXPECT_EQ(scanned({deviceAt("/dev/a", "S1"), deviceAt("LSI:0", "s1"), deviceAt("/dev/z", "S2")}),
              (Texts{"0 /dev/a", "1 /dev/z"}))
        << "and the numbers are dense again";
}

TEST(DeviceManager, DriveSeenThroughTwoLsiPathsAloneVanishes) {
    EXPECT_EQ(scanned({deviceAt("LSI:0", "S1"), deviceAt("x/lsi:1", "S1"), deviceAt("/dev/z", "S2")}),
              (Texts{"0 /dev/z"}));
}

constexpr struct {
    const char* pathA;
    const char* serialA;
    const char* pathB;
    const char* serialB;
    size_t left;
    const char* why;
} TWIN_CASES[] = {
    {"/dev/a", "S1", "/dev/b", "S1", 2, "without LSI in a path twins may stay"},
    {"LSI:0", "S1", "/dev/b", "S2", 2, "another drive"},
    {"LSI:0", "S1", "lsi:0", "S1", 2, "the same path, ignoring case, is no other path"},
    {"lsi:0", "S1", "/dev/b", "s1", 1, "case counts neither in the path nor in the serial number"},
    {"LSI:0", "", "/dev/b", "", 1, "devices without a serial number have equal ones"},
    {"LSI:0", "S1", "LSI:1", "S1", 0, "both are judged by the list as it was"},
};

TEST(DeviceManager, LsiRuleCaseByCase) {
    for (const auto& c : TWIN_CASES)
        EXPECT_EQ(scanned({deviceAt(c.pathA, c.serialA), deviceAt(c.pathB, c.serialB)}).size(), c.left) << c.why;
}

TEST(DeviceManager, LsiRemovalLogsItsReasonsAndNumbersAgain) {
    const auto notes = std::make_shared<NotingConnection::Notes>();
    DeviceManager manager;
    manager.addConnection(NotingConnection("driver", notes));
    manager.setCalculateDeviceStatus(true);
    for (const auto& device : {deviceAt("LSI:0", "S1"), deviceAt("/dev/a", "s1"), deviceAt("/dev/b", "S2")})
        manager.addDevice(*device);
    const LogCapture log(LOGSEVERITY_INFO);
    manager.removeDuplicateLSIDevices();
    EXPECT_EQ(log.list(), (Texts{
                              // the first is compared with itself and then with its twin, and goes
                              "[info] DevicePath A = LSI:0",
                              "[info] DevicePath B = LSI:0",
                              "[info] Serial Number A: s1",
                              "[info] Serial Number B: S1",
                              "[info] LSI DevicePath = LSI:0",
                              "[info] LSI Serial Number: S1",
                              // the second has a twin too, but stays
                              "[info] Serial Number A: S1",
                              "[info] Serial Number B: s1",
                              "[info] DevicePath A = /dev/a",
                              "[info] DevicePath B = /dev/a",
                              // the third meets only itself
                              "[info] DevicePath A = /dev/b",
                              "[info] DevicePath B = /dev/b",
                              "[info] Device 0",
                              "[info] Device 1",
                          }));
    EXPECT_EQ(listed(manager), (Texts{"0 /dev/a", "1 /dev/b"}));
    EXPECT_EQ(textOfAttribute(*manager.getDevices().front(), vocabulary::deviceStatus()), "Healthy");
}

TEST(DeviceManager, WithoutRemovalNothingIsNumberedAgain) {
    DeviceManager manager;
    manager.addDevice(*deviceAt("LSI:0", "S1"));
    manager.addDevice(*deviceAt("/dev/a", "S2"));
    manager.removeDuplicateLSIDevices();
    EXPECT_EQ(listed(manager), (Texts{"- LSI:0", "- /dev/a"}));
}

TEST(DeviceManager, WithoutLsiNothingIsComparedAtAll) {
    DeviceManager manager;
    manager.addDevice(*deviceAt("/dev/a", "S1"));
    manager.addDevice(*deviceAt("/dev/a", "S1"));
    const LogCapture log(LOGSEVERITY_INFO);
    manager.removeDuplicateLSIDevices();
    EXPECT_EQ(log.list(), Texts());
}

// The rule as it is written, every pair compared: the reference for the tables of removeDuplicateLSIDevices().
struct Outcome {
    Texts left;
    Texts log;
};

Outcome compareAllPairs(const Devices& devices) {
    Outcome outcome;
    const auto path = [](const auto& device) { return textOfAttribute(*device, vocabulary::devicePath()); };
    const auto serial = [](const auto& device) { return textOfAttribute(*device, vocabulary::serialNumber()); };
    for (const auto& candidate : devices) {
        bool removed = false;
        for (const auto& other : devices) {
            if (toLower(path(other)) == toLower(path(candidate))) {
                outcome.log.push_back("[info] DevicePath A = " + path(other));
                outcome.log.push_back("[info] DevicePath B = " + path(candidate));
            } else if (toLower(serial(other)) == toLower(serial(candidate))) {
                outcome.log.push_back("[info] Serial Number A: " + serial(other));
                outcome.log.push_back("[info] Serial Number B: " + serial(candidate));
                removed = toLower(path(candidate)).find("lsi") != std::string::npos;
            }
            if (!removed) continue;
            outcome.log.push_back("[info] LSI DevicePath = " + path(candidate));
            outcome.log.push_back("[info] LSI Serial Number: " + serial(candidate));
            break;
        }
        if (!removed) outcome.left.push_back(path(candidate));
    }
    return outcome;
}

TEST(DeviceManager, LsiRemovalAgreesWithLookingAtEveryPair) {
    std::minstd_rand random(20240229);
    for (int run = 0; run < 300; ++run) {
        Devices devices = {deviceAt("LSI", "S0")};  // without any, nothing is compared
        for (auto count = random() % 12; count > 0; --count) {
            const std::string name = random() % 2 == 0 ? "LSI" : random() % 2 == 0 ? "lsi" : "/dev/x";
            devices.push_back(deviceAt(name + std::to_string(random() % 3),
                                       (random() % 2 == 0 ? "S" : "s") + std::to_string(random() % 4)));
        }
        DeviceManager manager;
        for (const auto& device : devices) manager.addDevice(*device);
        const Outcome expected = compareAllPairs(devices);
        Texts left, lines;
        {
            const LogCapture log(LOGSEVERITY_INFO);
            manager.removeDuplicateLSIDevices();
            lines = log.list();
        }
        for (const auto& device : manager.getDevices())
            left.push_back(textOfAttribute(*device, vocabulary::devicePath()));
        ASSERT_EQ(left, expected.left) << "run " << run;
        const auto isNumbering = [](const std::string& line) { return line.rfind("[info] Device ", 0) == 0; };
        lines.erase(std::remove_if(lines.begin(), lines.end(), isNumbering), lines.end());
        ASSERT_EQ(lines, expected.log) << "run " << run;

        DeviceManager silent;
        for (const auto& device : devices) silent.addDevice(*device);
        silent.removeDuplicateLSIDevices();
        EXPECT_EQ(silent.getDevices().size(), expected.left.size()) << "the same without a log";
    }
}

// Every even device has a twin on an LSI controller, every one a path of its own.
TEST(DeviceManager, ScansTenThousandDevices) {
    constexpr size_t COUNT = 10000;
    DeviceManager manager;
    manager.addDeviceFinder(HookedFinder("Many", [](Devices& found) {
        for (size_t i = COUNT; i > 0; --i) {
            const std::string number = std::to_string(COUNT + i - 1);  // of five digits, so that text order is order
            found.push_back(deviceAt((i % 2 == 0 ? "LSI:" : "/dev/") + number, "S" + std::to_string((i - 1) / 2)));
        }
    }));
    manager.scan();
    ASSERT_EQ(manager.getDevices().size(), COUNT / 2);
    for (size_t i = 0; i < COUNT / 2; ++i) {
        const std::string path = "/dev/" + std::to_string(COUNT + 2 * i);
        ASSERT_EQ(textOfAttribute(*manager.getDevices()[i], vocabulary::devicePath()), path);
        ASSERT_EQ(textOfAttribute(*manager.getDevices()[i], vocabulary::index()), std::to_string(i));
    }
    EXPECT_EQ(manager.getDeviceByIndex(4999), manager.getDevices().back());
    EXPECT_EQ(manager.getDeviceBySerialNumber("s4999"), manager.getDevices().back());
    EXPECT_EQ(manager.getDeviceByPath("/DEV/19998"), manager.getDevices().back());
}

// Lookup.

class DeviceLookup : public testing::Test {
protected:
    DeviceLookup() {
        first = deviceAt("/dev/nvme0", "Serial1");
        set(*first, vocabulary::pnpString(), "SCSI\\DISK&VEN_X\\4&1");
        first->getPartitions() = {{{"Path", textAttribute("Path", "C:\\")}},
                                  {{"Path", textAttribute("Path", "/mnt/a")}}};
        second = deviceAt("/dev/nvme1", "serial1");
        setNumber(*second, vocabulary::csmi(), true);
        setNumber(*second, vocabulary::scsiPortNumber(), int32_t{2});
        setAddress(*second, "\x50\x01\x02\x03\x04\x05\x06\x07");
        second->getPartitions() = {{{"Path", textAttribute("Path", "/mnt/A")}},
                                   {{"Path", textAttribute("Path", "/mnt/b")}}};
        third = deviceAt("/dev/nvme2", "Serial3");
        setNumber(*third, vocabulary::csmi(), true);
        setAddress(*third, "\x60\x01\x02\x03\x04\x05\x06\x07");
        manager.addDeviceFinder(finderOf({first, second, third}));
        manager.scan();
    }

    static void setAddress(Device& device, const std::string& bytes) {
        Attribute address = vocabulary::sasAddress();
        address.setValue(bytes.data(), bytes.size());
        device.setAttribute(address);
    }

    std::string nameOf(const std::shared_ptr<Device>& device) const {
        return device == nullptr ? "-" : device == first ? "first" : device == second ? "second" : "third";
    }

    std::string found(const std::string& name, const std::string& value) const {
        return nameOf(manager.GetDevice(textAttribute(name, value)));
    }

    DeviceManager manager;
    std::shared_ptr<Device> first, second, third;
};

constexpr struct {
    const char* name;
    const char* value;
    const char* found;
    const char* why;
} LOOKUPS[] = {
    {"Index", "0", "first", "the first number"},
    {"Index", "002", "third", "leading zeros"},
    {"Index", "3", "-", "no such device"},
    {"Index", "abc", "-", "hexadecimal is no index"},
    {"Index", "0x1", "-", "not even with a prefix"},
    {"Index", "-1", "-", "a sign is no digit"},
    {"Index", "", "-", "nothing is no number"},
    {"Index", "4294967296", "-", "a number that does not fit is not cut"},
    {"Index", "4294967295", "-", "every device has an index"},
    {"Index", "99999999999999999999999", "-", "far too large"},
    {"SerialNumber", "SERIAL1", "first", "the first of two, ignoring case"},
    {"SerialNumber", "Serial3", "third", "exactly"},
    {"SerialNumber", "Serial", "-", "the whole text counts"},
    {"SerialNumber", "", "-", "no device has that"},
    {"CSMIIdentifiers", "2,5001020304050607", "second", "port and address"},
    {"CSMIIdentifiers", "0x2,5001020304050607", "second", "the port in hexadecimal"},
    {"CSMIIdentifiers", "2,0x5001020304050607", "second", "a prefix is dropped"},
    {"CSMIIdentifiers", "3,5001020304050607", "-", "another port"},
    {"CSMIIdentifiers", "2,5001020304050608", "-", "another address"},
    {"CSMIIdentifiers", "2,500102030405060700", "-", "an address that is too long is not cut"},
    {"CSMIIdentifiers", "-1,6001020304050607", "third", "a device without a port has port -1"},
    {"CSMIIdentifiers", "2,", "-", "no address"},
    {"DriveId", "scsi\\disk&ven_x\\4&1", "first", "the plain form in any case"},
    {"DriveId", "\\\\?\\scsi#disk&ven_x#4&1#{53f56307}", "first", "the form of an interface path"},
    {"DriveId", "\\\\?\\scsi#disk&ven_x#4&1", "first", "without a class"},
    {"DriveId", "\\\\?\\scsi#disk&ven_x#4&1{1}#{2}", "-", "only the last brace is cut off"},
    {"DriveId", "scsi#disk&ven_x#4&1", "-", "without the prefix nothing is replaced"},
    {"DriveId", "\\\\?\\", "-", "the prefix alone is too short to be dropped"},
    {"DriveId", "\\\\?\\{", "-", "nothing is left, and no device has that"},
    {"DriveId", "scsi", "-", "too short"},
    {"DriveId", "", "-", "too short"},
    {"DriveLetter", "c:\\", "first", "ignoring case"},
    {"DriveLetter", "/mnt/a", "first", "the first device with such a partition"},
    {"DriveLetter", "/mnt/b", "second", "any of its partitions"},
    {"DriveLetter", "/mnt", "-", "the whole text counts"},
    {"Path", "/DEV/NVME1", "second", "ignoring case"},
    {"Path", "/dev/nvme", "-", "the whole text counts"},
    {"Path", "", "-", "no device has that"},
    {"Generic", "serial3", "third", "a serial number"},
    {"Generic", "/dev/nvme1", "second", "or else a path"},
    {"Generic", "x", "-", "neither"},
    {"index", "1", "second", "names of attributes are compared ignoring case"},
    {"DevicePath", "/dev/nvme0", "-", "no search is named so"},
    {"BootDrive", "1", "-", "neither so"},
    {"", "0", "-", "nor so"},
};

TEST_F(DeviceLookup, SearchFollowsFromTheIdentifiersName) {
    for (const auto& c : LOOKUPS)
        EXPECT_EQ(found(c.name, c.value), c.found) << c.name << " \"" << c.value << "\": " << c.why;
}

TEST_F(DeviceLookup, GenericPrefersTheSerialNumber) {
    set(*third, vocabulary::serialNumber(), "/dev/nvme0");
    EXPECT_EQ(found("Generic", "/dev/nvme0"), "third");
}

TEST_F(DeviceLookup, IdentifierWithoutAValueIsTheEmptyText) {
    EXPECT_EQ(manager.GetDevice(Attribute("SerialNumber", "", "string")), nullptr);
    set(*second, vocabulary::serialNumber(), "");
    EXPECT_EQ(nameOf(manager.GetDevice(Attribute("SerialNumber", "", "string"))), "second")
        << "a device whose serial number is the empty text";
    second->removeAttribute("SerialNumber");
    EXPECT_EQ(manager.GetDevice(Attribute("SerialNumber", "", "string")), nullptr)
        << "but not one without a serial number";
}

TEST_F(DeviceLookup, IdentifiersValueIsReadAsTextWhateverItsType) {
    Attribute identifier("Index", "", "bytepointer");
    identifier.setValue("2x", 2);  // the last byte counts as the terminator
    EXPECT_EQ(nameOf(manager.GetDevice(identifier)), "third");
}

TEST_F(DeviceLookup, OnlyAWrongNumberOfCsmiFieldsIsLogged) {
    const std::string failure = "[error] Failed to split passed in CSMI string into the two recognized identifiers";
    for (const char* value : {"1", "", "1,2,3"}) {
        const LogCapture log(LOGSEVERITY_INFO);
        EXPECT_EQ(found("CSMIIdentifiers", value), "-");
        EXPECT_EQ(log.list(), (Texts{failure})) << value;
    }
    const LogCapture log(LOGSEVERITY_INFO);
    EXPECT_EQ(found("Index", "abc"), "-");
    EXPECT_EQ(log.list(), Texts()) << "an index that is no number is no matter for the log";
}

TEST_F(DeviceLookup, DeviceWithoutAnIndexIsNumberFFFFFFFF) {
    EXPECT_EQ(manager.getDeviceByIndex(0xFFFFFFFF), nullptr);
    second->removeAttribute("Index");
    third->removeAttribute("Index");
    EXPECT_EQ(nameOf(manager.getDeviceByIndex(0xFFFFFFFF)), "second");
    EXPECT_EQ(found("Index", "4294967295"), "second");
    EXPECT_EQ(manager.getDeviceByIndex(1), nullptr);
}

TEST_F(DeviceLookup, PartitionIsLookedForOnTheFirstDeviceOfTheSerialNumber) {
    EXPECT_EQ(nameOf(manager.getDeviceBySerialNumberAndPartition("SERIAL1", "/mnt/a")), "first");
    EXPECT_EQ(nameOf(manager.getDeviceBySerialNumberAndPartition("serial1", "/mnt/A")), "-")
        << "the case of the partition counts, and a later device of that serial number is not looked at";
    EXPECT_EQ(nameOf(manager.getDeviceBySerialNumberAndPartition("Serial3", "/mnt/a")), "-");
    EXPECT_EQ(nameOf(manager.getDeviceBySerialNumberAndPartition("none", "/mnt/a")), "-");
}

TEST_F(DeviceLookup, CsmiNeedsFlagPortAndEightBytesOfAddress) {
    constexpr uint64_t ADDRESS = 0x0706050403020150;
    EXPECT_EQ(nameOf(manager.getDeviceByCSMI(2, ADDRESS)), "second");
    setAddress(*second, "\x50\x01\x02\x03\x04\x05\x06");
    EXPECT_EQ(manager.getDeviceByCSMI(2, ADDRESS & 0xFFFFFFFFFFFFFF), nullptr) << "seven bytes";
    setAddress(*second, std::string("\x50\x01\x02\x03\x04\x05\x06\x07\x00", 9));
    EXPECT_EQ(manager.getDeviceByCSMI(2, ADDRESS), nullptr) << "nine bytes";
    setAddress(*second, "\x50\x01\x02\x03\x04\x05\x06\x07");
    setNumber(*second, vocabulary::csmi(), false);
    EXPECT_EQ(manager.getDeviceByCSMI(2, ADDRESS), nullptr) << "not a device of that kind";
}

TEST_F(DeviceLookup, PnpStringIsComparedExactlyWithTheUpperCasedIdentifier) {
    set(*first, vocabulary::pnpString(), "scsi\\disk&ven_x\\4&1");
    EXPECT_EQ(found("DriveId", "scsi\\disk&ven_x\\4&1"), "-") << "a device reports it in capitals";
}

TEST_F(DeviceLookup, PrefixOfADriveIdIsDroppedOnlyFromSomethingLonger) {
    set(*second, vocabulary::pnpString(), "");
    EXPECT_EQ(found("DriveId", "\\\\?\\"), "-");
    EXPECT_EQ(found("DriveId", "\\\\?\\{"), "second") << "of which nothing is left";
}

TEST_F(DeviceLookup, RemovalNumbersTheOthersAgain) {
    EXPECT_EQ(manager.removeDevice(7), 0);
    EXPECT_EQ(manager.removeDevice(1), 1);
    EXPECT_EQ(listed(manager), (Texts{"0 /dev/nvme0", "1 /dev/nvme2"}));
    EXPECT_EQ(manager.removeDevice(second), 0);
    EXPECT_EQ(manager.removeDevice(nullptr), 0);
    EXPECT_EQ(manager.removeDevice(first), 1);
    EXPECT_EQ(listed(manager), (Texts{"0 /dev/nvme2"}));
    EXPECT_EQ(manager.removeDevice(1), 0);
    EXPECT_EQ(manager.removeDevice(0), 1);
    EXPECT_EQ(manager.removeDevice(0), 0);
}

// Binary interface.

struct NextManagerSlot : DeviceManager {
    virtual void next();
};
struct NextFinderSlot : DeviceFinder {
    virtual void next();
};
struct NextExtensionSlot : DeviceFinderExtension {
    virtual void next();
};

// The library is built against these orders. Slots 0 and 1 are the destructor's.
TEST(DeviceManager, VirtualOperationsKeepTheirSlots) {
    EXPECT_EQ(virtualSlot(&DeviceManager::scan), 2u);
    EXPECT_EQ(virtualSlot(&NextManagerSlot::next), 3u);
}

TEST(DeviceFinder, VirtualOperationsKeepTheirSlots) {
    EXPECT_EQ(virtualSlot(&DeviceFinder::scan), 2u);
    EXPECT_EQ(virtualSlot(&DeviceFinder::clone), 3u);
    EXPECT_EQ(virtualSlot(static_cast<DeviceFinder& (DeviceFinder::*)(const DeviceFinder&)>(&DeviceFinder::operator=)),
              4u);
    EXPECT_EQ(virtualSlot(&NextFinderSlot::next), 5u);
}

TEST(DeviceFinderExtension, VirtualOperationsKeepTheirSlots) {
    using Assignment = DeviceFinderExtension& (DeviceFinderExtension::*)(const DeviceFinderExtension&);
    EXPECT_EQ(virtualSlot(&DeviceFinderExtension::scan), 2u);
    EXPECT_EQ(virtualSlot(&DeviceFinderExtension::clone), 3u);
    EXPECT_EQ(virtualSlot(static_cast<Assignment>(&DeviceFinderExtension::operator=)), 4u);
    EXPECT_EQ(virtualSlot(&NextExtensionSlot::next), 5u);
}

TEST(DeviceFinder, AssignmentCopiesTheNameAlone) {
    HookedFinder finder = finderOf({deviceAt("/dev/a")}, "A");
    static_cast<DeviceFinder&>(finder) = finderOf({}, "B");
    EXPECT_EQ(finder.name, "B");
    Devices found;
    finder.scan(found);
    EXPECT_EQ(found.size(), 1u);
}

TEST(DeviceFinderExtension, AssignmentCopiesNameAndPriority) {
    HookedExtension extension("A", 1, [](Devices&) {});
    static_cast<DeviceFinderExtension&>(extension) = HookedExtension("B", 2, [](Devices&) {});
    EXPECT_EQ(extension.name, "B");
    EXPECT_EQ(extension.priority, 2);
}

}  // namespace
}  // namespace ostrel::core
