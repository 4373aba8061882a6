#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <map>

#include "features/library/RequestHandler.h"
#include "features/transport/HostCommand.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/CommandPath.h"
#include "ostrel/core/CommandResult.h"
#include "ostrel/core/Device.h"
#include "tests/support/fakedrive/FakeDrive.h"

namespace features::library {
namespace {

using namespace ostrel::core;

struct FakeDrive {
    std::string path;
    std::string serial;
};

/// The transport to a drive whose host sees namespaces 7 and 8 and nothing else.
class HostPath : public CommandPath {
public:
    HostPath() : CommandPath("Fake", NANOSECONDS_PER_SECOND) {}
    std::unique_ptr<CommandPath> clone() const override { return std::make_unique<HostPath>(*this); }
    CommandResult send(const Command&, const Payload&, const AttributeList&) override {
        transport::HostNamespace first;
        first.nsid = 7;
        transport::HostNamespace second;
        second.nsid = 8;
        CommandResult result;
        result.protocolResult =
            std::make_unique<transport::HostResult>(std::vector<transport::HostNamespace>{first, second});
        return result;
    }
    bool isSupported(const AttributeList&) const override { return true; }
};

std::shared_ptr<Device> makeDevice(const FakeDrive& drive) {
    Attribute path = attributes::device::devicePath();
    path.setValue(drive.path);
    Attribute serial = attributes::device::serialNumber();
    serial.setValue(drive.serial);
    auto device = std::make_shared<Device>();
    device->setAttribute(path);
    device->setAttribute(serial);
    device->addCommandPath(HostPath());
    device->addCommandSet(transport::COMMAND_SET_HOST, "Fake");
    return device;
}

class FakeFinder : public DeviceFinder {
public:
    FakeFinder(std::string name, std::vector<FakeDrive> drives, int* scans)
        : DeviceFinder(std::move(name)), drives_(std::move(drives)), scans_(scans) {}
    void scan(std::vector<std::shared_ptr<Device>>& devices) override {
        ++*scans_;
        for (const FakeDrive& drive : drives_) devices.push_back(makeDevice(drive));
    }
    std::unique_ptr<DeviceFinder> clone() const override { return std::make_unique<FakeFinder>(*this); }

private:
    std::vector<FakeDrive> drives_;
    int* scans_;
};

/// Drives as a test lays them out.
class FakeSource : public transport::DriveSource {
public:
    FakeSource(std::string name, std::vector<FakeDrive> drives, int* scans)
        : name_(std::move(name)), drives_(std::move(drives)), scans_(scans) {}
    std::unique_ptr<DeviceFinder> finder() const override {
        return std::make_unique<FakeFinder>(name_, drives_, scans_);
    }
    const transport::LookErrors& scanErrors() const override { return errors; }
    std::optional<transport::DriveLocation> locate(const std::string& path,
                                                   transport::LookErrors& lookErrors) const override {
        return find(paths, path, lookErrors);
    }
    std::optional<transport::DriveLocation> bootDrive(const std::string& word,
                                                      transport::LookErrors& lookErrors) const override {
        return find(bootDrives, word, lookErrors);
    }

    std::vector<std::string> controllersOfDrive(const std::string& path, transport::LookErrors&) const override {
        const bool isThere = std::find(controllers.begin(), controllers.end(), path) != controllers.end();
        return isThere ? controllers : std::vector<std::string>{path};
    }

    std::vector<std::string> scanOrder() const override { return order; }
    std::vector<std::shared_ptr<Device>> unsupportedDrives() const override { return unsupported; }
    std::shared_ptr<Device> namedDevice(const std::string& path) const override {
        return path == named.path ? makeDevice(named) : nullptr;
    }

    std::map<std::string, transport::DriveLocation> paths;
    std::map<std::string, transport::DriveLocation> bootDrives;
    std::vector<std::string> order;
    std::vector<std::shared_ptr<Device>> unsupported;
    FakeDrive named;
    std::vector<std::string> controllers;  ///< of one subsystem
    transport::LookErrors errors;
    transport::LookErrors errorsOfNames;

private:
    std::optional<transport::DriveLocation> find(const std::map<std::string, transport::DriveLocation>& map,
                                                 const std::string& key, transport::LookErrors& lookErrors) const {
        const auto found = map.find(key);
        if (found == map.end()) lookErrors.add(errorsOfNames);
        return found == map.end() ? std::nullopt : std::optional(found->second);
    }

    std::string name_;
    std::vector<FakeDrive> drives_;
    int* scans_;
};

constexpr const char* HEAD = R"(<?xml version="1.0" encoding="utf-8"?>)";

std::string status(const std::string& category, const std::string& code, const std::string& message) {
    return R"(<Object category="status"><Property name="Category" value=")" + category +
           R"("/><Property name="Code" value=")" + code + R"("/><Property name="Message" value=")" + message +
           R"("/></Object>)";
}

/// The answer to a request that was refused as a whole.
std::string refusal(const std::string& job, const std::string& category, const std::string& code,
                    const std::string& message) {
    const std::string name = job.empty() ? "" : " name=\"" + job + "\"";
    return std::string(HEAD) + "<Object" + name + ">" + status(category, code, message) + "</Object>";
}

/// One drive of a list, asked for index and path. The size of a text counts its zero byte.
std::string shown(const std::string& serial, const std::string& index, const std::string& size,
                  const std::string& path) {
    return R"(<Object category="attributeList" key="Velko SSD )" + serial +
           R"("><Property category="attribute" displayName="Index" name="Index" size="4" type="sint32" value=")" +
           index + R"("/><Property category="attribute" displayName="Device Path" name="DevicePath" size=")" + size +
           R"(" type="string" value=")" + path + R"("/></Object>)";
}

std::string answer(const std::string& drives) {
    return std::string(HEAD) + R"(<Object name="VelkoSSD">)" + status("0", "0", "Completed successfully.") +
           R"(<Object category="Output">)" + drives + "</Object></Object>";
}

std::string device(const std::string& key, const std::string& value) {
    return R"(<List name="Devices"><Object name="Device"><Property name=")" + key + R"(" value=")" + value +
           R"("/></Object></List>)";
}

std::string answerOf(RequestHandler& handler, const std::string& request) {
    return handler.answer(request)->toXmlString();
}

/// Four drives of two kinds; the first kind knows nodes and the boot drive.
class RequestHandlerTest : public ::testing::Test {
protected:
    RequestHandlerTest() {
        auto real = std::make_unique<FakeSource>(
            "Real", std::vector<FakeDrive>{{"/dev/nvme0", "S0"}, {"/dev/nvme1", "S1"}, {"/dev/nvme10", "S10"}},
            &scans_);
        real->paths = {{"/dev/nvme1", {"/dev/nvme1", {}}},
                       {"/dev/nvme1n1", {"/dev/nvme1", 7}},
                       {"/dev/nvme1n2", {"/dev/nvme1", 8}},
                       {"/dev/nvme9", {"/dev/nvme9", {}}}};
        real->bootDrives = {{"BootDrive", {"/dev/nvme0", {}}}};
        auto other = std::make_unique<FakeSource>("Other", std::vector<FakeDrive>{{"sim:A", "SA"}}, &scans_);
        other->paths = {{"/opt/A", {"sim:A", {}}}};
        real_ = real.get();
        std::vector<std::unique_ptr<transport::DriveSource>> sources;
        sources.push_back(std::move(real));
        sources.push_back(std::move(other));
        handler_ = std::make_unique<RequestHandler>(std::move(sources));
    }

    std::string answerTo(const std::string& request) { return answerOf(*handler_, request); }

    /// A list of drives that are asked for what the scan found out.
    std::string list(const std::string& devices) {
        return answerTo(
            R"(<Object name="VelkoSSD" type="GetProperties"><Property name="Scan" value="true"/>)"
            R"(<Object name="Properties"><Property category="attribute" name="Index" type="string" value=""/>)"
            R"(<Property category="attribute" name="DevicePath" type="string" value=""/></Object>)" +
            devices + "</Object>");
    }

    int scans_ = 0;
    FakeSource* real_ = nullptr;  ///< of the handler
    std::unique_ptr<RequestHandler> handler_;
};

const std::string S0 = shown("S0", "0", "11", "/dev/nvme0");
const std::string S1 = shown("S1", "1", "11", "/dev/nvme1");
const std::string S10 = shown("S10", "2", "12", "/dev/nvme10");
const std::string SA = shown("SA", "3", "6", "sim:A");

TEST_F(RequestHandlerTest, WhatIsNoRequestIsRefused) {
    for (const char* const text :
         {"", "x", "<Object", "<Object>", "<Other/>", "<List/>", R"(<Property name="VelkoSSD"/>)"}) {
        EXPECT_EQ(answerTo(text), refusal("", "11", "2", "No input XML")) << '"' << text << '"';
    }
    EXPECT_EQ(scans_, 0);
}

TEST_F(RequestHandlerTest, ANameThatIsNoJobsIsRefused) {
    EXPECT_EQ(answerTo("<Object/>"), R"(<?xml version="1.0" encoding="utf-8"?><Object name="">)" +
                                         status("11", "4", "Job not found") + "</Object>");
    for (const char* const name : {"velkossd", "VelkoSSD ", "Unheard Of"}) {
        EXPECT_EQ(answerTo(std::string(R"(<Object name=")") + name + R"(" type="GetProperties"/>)"),
                  refusal(name, "11", "4", "Job not found"));
    }
    EXPECT_EQ(scans_, 0);
}

TEST_F(RequestHandlerTest, AJobOfAnotherLibraryIsNotSupported) {
    EXPECT_EQ(answerTo(R"(<Object name="DIPM" type="Method"><Property name="Scan" value="true"/></Object>)"),
              refusal("DIPM", "10", "34", "Feature is not supported."));
    EXPECT_EQ(scans_, 0);
}

TEST_F(RequestHandlerTest, ATypeThatIsNoneOfTheThreeIsRefused) {
    for (const char* const type : {"", "Parser", "getproperties"}) {
        EXPECT_EQ(answerTo(std::string(R"(<Object name="VelkoSSD" type=")") + type + R"("/>)"),
                  refusal("VelkoSSD", "11", "5", "Invalid method type"))
            << type;
    }
}

TEST_F(RequestHandlerTest, WithoutAScanThereAreNoDrives) {
    EXPECT_EQ(answerTo(R"(<Object name="VelkoSSD" type="GetProperties"/>)"),
              std::string(HEAD) + R"(<Object name="VelkoSSD">)" + status("0", "0", "Completed successfully.") +
                  R"(<Object category="Output"></Object></Object>)");
    EXPECT_EQ(
        answerTo(R"(<Object name="VelkoSSD" type="GetProperties"><Property name="Scan" value="false"/></Object>)"),
        std::string(HEAD) + R"(<Object name="VelkoSSD">)" + status("0", "0", "Completed successfully.") +
            R"(<Object category="Output"></Object></Object>)");
    EXPECT_EQ(scans_, 0);
}

TEST_F(RequestHandlerTest, WithoutASelectorAllDrivesAreMeant) {
    EXPECT_EQ(list(""), answer(S0 + S1 + S10 + SA));
    EXPECT_EQ(list(R"(<List name="Devices"/>)"), answer(S0 + S1 + S10 + SA)) << "an empty list names no drive";
    EXPECT_EQ(list(R"(<List name="Other"><Object><Property name="Index" value="9"/></Object></List>)"),
              answer(S0 + S1 + S10 + SA))
        << "a list of something else";
    EXPECT_EQ(scans_, 6) << "each request looks again, with both finders";
}

TEST_F(RequestHandlerTest, ASourceHasAnOrderOfItsOwn) {
    real_->order = {"/dev/nvme10", "/dev/gone", "/dev/nvme0"};
    const std::string first = shown("S10", "0", "12", "/dev/nvme10");
    const std::string last = shown("S0", "2", "11", "/dev/nvme0");
    EXPECT_EQ(list(""), answer(first + S1 + last + SA)) << "the others keep their places";
    EXPECT_EQ(list(device("Index", "0")), answer(first));
    EXPECT_EQ(list(device("Index", "2")), answer(last));
}

TEST_F(RequestHandlerTest, ADriveThatNoScanListsIsFoundByItsPathAlone) {
    real_->named = {"/dev/sdb", "SB"};
    real_->paths["/dev/sdb"] = {"/dev/sdb", {}};
    EXPECT_EQ(list(""), answer(S0 + S1 + S10 + SA));
    const std::string found = list(device("Path", "/dev/sdb"));
    EXPECT_NE(found.find(R"(key="Velko SSD SB")"), std::string::npos) << found;
    EXPECT_NE(list(device("SerialNumber", "SB")).find("Provided device serial is invalid."), std::string::npos);
}

TEST_F(RequestHandlerTest, EachKindOfNameLeadsToItsDrive) {
    EXPECT_EQ(list(device("Index", "2")), answer(S10));
    EXPECT_EQ(list(device("SerialNumber", "S1")), answer(S1));
    EXPECT_EQ(list(device("SerialNumber", "s10")), answer(S10)) << "in any case";
    EXPECT_EQ(list(device("Path", "/dev/nvme1")), answer(S1));
    EXPECT_EQ(list(device("Path", "/dev/nvme1n1")), answer(S1));
    EXPECT_EQ(list(device("Path", "/opt/A")), answer(SA)) << "of the second source";
    EXPECT_EQ(list(device("BootDrive", "BootDrive")), answer(S0));
}

TEST_F(RequestHandlerTest, AnUnknownDriveIsReportedByItsKindOfName) {
    constexpr struct {
        const char* key;
        const char* value;
        const char* category;
        const char* code;
        const char* message;
    } CASES[] = {
        {"Index", "4", "0", "4", "Provided device index is invalid. Device could not be found."},
        {"Index", "99999999999", "0", "4", "Provided device index is invalid. Device could not be found."},
        {"Index", "", "0", "4", "Provided device index is invalid. Device could not be found."},
        {"SerialNumber", "S2", "0", "5", "Provided device serial is invalid. Device could not be found."},
        {"SerialNumber", "", "0", "5", "Provided device serial is invalid. Device could not be found."},
        {"BootDrive", "other", "0", "7", "Provided device ID is invalid. Device could not be found."},
        {"Path", "/dev/nvme7", "0", "8", "Provided device path is invalid. Device could not be found."},
        {"Path", "/dev/nvme9", "0", "8", "Provided device path is invalid. Device could not be found."},
        {"Path", "", "0", "8", "Provided device path is invalid. Device could not be found."},
        {"Colour", "blue", "11", "10", "Invalid drive identifier"},
        {"", "", "11", "10", "Invalid drive identifier"},
    };
    for (const auto& c : CASES) {
        EXPECT_EQ(list(device(c.key, c.value)), refusal("VelkoSSD", c.category, c.code, c.message))
            << c.key << " " << c.value;
    }
}

TEST_F(RequestHandlerTest, SeveralListsAndSeveralDrivesOfOneListAddUp) {
    EXPECT_EQ(list(device("SerialNumber", "S10") + device("Index", "0")), answer(S10 + S0)) << "as they were named";
    EXPECT_EQ(list(R"(<List name="Devices"><Object><Property name="Index" value="3"/></Object>)"
                   R"(<Object><Property name="Path" value="/dev/nvme1"/></Object></List>)"),
              answer(SA + S1));
    EXPECT_EQ(list(device("Index", "0") + device("Index", "7")),
              refusal("VelkoSSD", "0", "4", "Provided device index is invalid. Device could not be found."))
        << "one unknown drive, and none is touched";
}

TEST_F(RequestHandlerTest, ADriveThatIsNamedTwiceIsOneDrive) {
    EXPECT_EQ(list(device("Index", "1") + device("SerialNumber", "S1") + device("Path", "/dev/nvme1n1")), answer(S1));
}

TEST_F(RequestHandlerTest, TwoNamespacesOfOneDriveAreRefused) {
    const std::string n1 = device("Path", "/dev/nvme1n1");
    const std::string n2 = device("Path", "/dev/nvme1n2");
    EXPECT_EQ(list(n1 + n2), refusal("VelkoSSD", "10", "6",
                                     "Multiple devices selected. Namespaces 7 and 8 of /dev/nvme1 were named: name one "
                                     "of them."));
    EXPECT_EQ(list(n1 + n1), answer(S1)) << "one namespace twice";
    EXPECT_EQ(list(device("Index", "1") + n2 + device("Path", "/dev/nvme1")), answer(S1));
}

TEST_F(RequestHandlerTest, ANamespacesNodeNamesTheNamespaceTheJobIsAbout) {
    constexpr struct {
        const char* path;
        const char* nsid;
        const char* why;
    } CASES[] = {
        {"/dev/nvme1n2", "8", "named"},
        {"/dev/nvme1n1", "7", "named; the request before left nothing"},
        {"/dev/nvme1", "7", "the controller selects its first namespace"},
    };
    for (const auto& c : CASES) {
        EXPECT_EQ(answerTo(R"(<Object name="VelkoSSD" type="GetProperties"><Property name="Scan" value="true"/>)"
                           R"(<Object name="Properties"><Property category="attribute" name="NamespaceId" )"
                           R"(type="string" value=""/></Object>)" +
                           device("Path", c.path) + "</Object>"),
                  answer(R"(<Object category="attributeList" key="Velko SSD S1"><Property category="attribute" )"
                         R"(displayName="NamespaceId" name="NamespaceId" size="4" type="uint32" value=")" +
                         std::string(c.nsid) + R"("/></Object>)"))
            << c.path << ": " << c.why;
    }
}

std::shared_ptr<Device> unsupportedDrive(const std::string& path, const std::string& serial) {
    auto device = makeDevice({path, serial});
    Attribute reason = attributes::device::errorString();
    reason.setValue("M is a SAS drive.");
    device->setAttribute(reason);
    return device;
}

TEST_F(RequestHandlerTest, UnsupportedDrivesAreInAPlainListWithTheReason) {
    real_->unsupported = {unsupportedDrive("/dev/sdx", "SX"), unsupportedDrive("/dev/sdy", "")};
    const std::string all =
        answerTo(R"(<Object name="VelkoSSD" type="GetProperties"><Property name="Scan" value="true"/></Object>)");
    const std::string path = R"(<Property category="attribute" displayName="Device Path" name="DevicePath" size="9" )";
    const std::string reason = R"(<Property name="Category" value="0"/><Property name="Code" value="0"/>)"
                               R"(<Property name="Message" value="M is a SAS drive."/></Object>)";
    const std::string expected =
        R"(<Object category="status" key="SX" name="Unsupported Drive"><Property category="attribute" )"
        R"(displayName="Serial Number" name="SerialNumber" size="3" type="string" value="SX"/>)" +
        path + R"(type="string" value="/dev/sdx"/>)" + reason +
        R"(<Object category="status" key="sdy" name="Unsupported Drive">)" + path +
        R"(type="string" value="/dev/sdy"/>)" + reason + "</Object></Object>";
    ASSERT_GT(all.size(), expected.size());
    EXPECT_EQ(all.substr(all.size() - expected.size()), expected);
    EXPECT_EQ(list(""), answer(S0 + S1 + S10 + SA)) << "not where attributes are named";
    EXPECT_EQ(list(device("Index", "2")), answer(S10));
}

TEST_F(RequestHandlerTest, AnUnsupportedDriveThatIsNamedIsNotFoundWithTheReason) {
    real_->unsupported = {unsupportedDrive("/dev/sdx", "SX"), unsupportedDrive("/dev/sdy", "")};
    real_->paths["/dev/disk/by-id/x"] = {"/dev/sdx", {}};
    const std::string serial = "Provided device serial is invalid. Device could not be found.";
    const std::string path = "Provided device path is invalid. Device could not be found.";
    EXPECT_EQ(list(device("SerialNumber", "sx")), refusal("VelkoSSD", "0", "5", serial + " M is a SAS drive."));
    EXPECT_EQ(list(device("Path", "/dev/disk/by-id/x")), refusal("VelkoSSD", "0", "8", path + " M is a SAS drive."));
    EXPECT_EQ(list(device("SerialNumber", "SY")), refusal("VelkoSSD", "0", "5", serial));
    EXPECT_EQ(list(device("SerialNumber", "")), refusal("VelkoSSD", "0", "5", serial)) << "no serial number is no name";
    EXPECT_EQ(list(device("Path", "/dev/nvme9")), refusal("VelkoSSD", "0", "8", path));
}

/// The scan of the first kind of drives could not look at everything.
class IncompleteScan : public RequestHandlerTest {
protected:
    IncompleteScan() { real_->errors.add("/sys/class/nvme", EACCES); }

    std::string run(const std::string& job, const std::string& type, const std::string& devices,
                    const std::string& properties = {}) {
        return answerTo("<Object name=\"" + job + "\" type=\"" + type + R"("><Property name="Scan" value="true"/>)" +
                        properties + devices + "</Object>");
    }
};

const std::string NOT_SEEN = "Not everything could be looked at: /sys/class/nvme: Permission denied.";
const std::string INCOMPLETE =
    R"(<Object category="status" key="Incomplete" name="Drive Scan"><Property name="Category" value="0"/>)"
    R"(<Property name="Code" value="39"/><Property name="Message" value="System rescan failed. )" +
    NOT_SEEN + R"("/></Object>)";

TEST_F(IncompleteScan, WhatWasFoundIsShownWithTheError) {
    EXPECT_EQ(list(""), answer(S0 + S1 + S10 + SA + INCOMPLETE));
    EXPECT_EQ(list(device("Index", "2")), answer(S10 + INCOMPLETE)) << "an index is a guess";
}

TEST_F(IncompleteScan, ADriveThatWasNamedAndFoundIsThatDrive) {
    EXPECT_EQ(list(device("SerialNumber", "S1")), answer(S1));
    EXPECT_EQ(list(device("Path", "/dev/nvme1n1")), answer(S1));
    EXPECT_EQ(list(device("BootDrive", "BootDrive")), answer(S0));
}

TEST_F(IncompleteScan, AnUnknownDriveMayBeOneThatWasNotSeen) {
    EXPECT_EQ(
        list(device("Index", "4")),
        refusal("VelkoSSD", "0", "4", "Provided device index is invalid. Device could not be found. " + NOT_SEEN));
    EXPECT_EQ(
        list(device("SerialNumber", "S2")),
        refusal("VelkoSSD", "0", "5", "Provided device serial is invalid. Device could not be found. " + NOT_SEEN));
}

TEST_F(RequestHandlerTest, AnUnknownNameThatCouldNotBeFollowedSaysSo) {
    real_->errorsOfNames.add("/proc/self/mountinfo", EIO);
    EXPECT_EQ(list(device("BootDrive", "other")),
              refusal("VelkoSSD", "0", "7",
                      "Provided device ID is invalid. Device could not be found. Not everything could be looked at: "
                      "/proc/self/mountinfo: Input/output error."));
    EXPECT_EQ(list(device("Path", "/opt/A")), answer(SA)) << "found by another kind of drives";
}

TEST_F(IncompleteScan, WhatChangesADriveRefusesAGuess) {
    const std::string words =
        "System rescan failed. /sys/class/nvme: Permission denied. Name the drive by its serial number or path.";
    for (const std::string& devices : {std::string(), device("Index", "0")}) {
        EXPECT_EQ(run("Format", "Method", devices), refusal("Format", "0", "39", words));
        EXPECT_EQ(run("PowerGovernor", "SetProperty", devices), refusal("PowerGovernor", "0", "39", words));
        EXPECT_EQ(run("NVMeFeatures", "Method", devices, R"(<Property name="SetGetType" value="set"/>)"),
                  refusal("NVMeFeatures", "0", "39", words));
    }
    EXPECT_EQ(run("Format", "Method", device("Index", "0") + device("SerialNumber", "S1")),
              refusal("Format", "0", "39", words));
    EXPECT_EQ(run("NVMeReset", "Method", device("SerialNumber", "S1")).find(words), std::string::npos);
    EXPECT_EQ(run("NVMeReset", "Method", device("Path", "/dev/nvme1")).find(words), std::string::npos);
    EXPECT_EQ(run("NVMeFeatures", "Method", "", R"(<Property name="SetGetType" value="get"/>)").find(words),
              std::string::npos)
        << "a get shows what it can";
}

TEST_F(RequestHandlerTest, ARequestThatIsRefusedSaysWhatWasNotSeen) {
    auto none = std::make_unique<FakeSource>("None", std::vector<FakeDrive>(), &scans_);
    none->errors.add("/sys", ENOENT, "sysfs is not mounted");
    std::vector<std::unique_ptr<transport::DriveSource>> sources;
    sources.push_back(std::move(none));
    handler_ = std::make_unique<RequestHandler>(std::move(sources));
    const std::string request = R"(<Property name="Scan" value="true"/><Property name="LogId" value="x"/>)";
    EXPECT_EQ(answerTo(R"(<Object name="NVMeLog" type="Method">)" + request + "</Object>"),
              refusal("NVMeLog", "10", "36",
                      "Invalid value given for LogId: &apos;x&apos;. It must be a number from 0 to 4294967295. Not "
                      "everything could be looked at: /sys: sysfs is not mounted."));
}

TEST_F(RequestHandlerTest, AHealthScanThatFoundNothingCouldNotLook) {
    auto none = std::make_unique<FakeSource>("None", std::vector<FakeDrive>(), &scans_);
    none->errors.add("/sys", ENOENT, "sysfs is not mounted");
    std::vector<std::unique_ptr<transport::DriveSource>> sources;
    sources.push_back(std::move(none));
    handler_ = std::make_unique<RequestHandler>(std::move(sources));
    EXPECT_EQ(
        answerTo(R"(<Object name="HealthScan" type="Method"><Property name="Scan" value="true"/></Object>)"),
        std::string(HEAD) + R"(<Object name="HealthScan">)" + status("0", "0", "Completed successfully.") +
            R"(<Object category="Output"><Property name="HealthScanStatusCode" value="100"/>)"
            R"(<Object name="Health Scan"><Property name="Result" value="No drive was found."/>)"
            R"(<Property name="Result Code" value="100"/></Object>)"
            R"(<Object category="status" key="Incomplete" name="Drive Scan"><Property name="Category" value="0"/>)"
            R"(<Property name="Code" value="0"/><Property name="Message" value="System rescan failed. )"
            R"(Not everything could be looked at: /sys: sysfs is not mounted."/></Object></Object></Object>)")
        << "the outcome is the exit status, not the code of the status";
}

/// Finds one drive that is there already.
class OneDriveFinder : public DeviceFinder {
public:
    explicit OneDriveFinder(std::shared_ptr<Device> device) : DeviceFinder("One"), device_(std::move(device)) {}
    void scan(std::vector<std::shared_ptr<Device>>& devices) override { devices.push_back(device_); }
    std::unique_ptr<DeviceFinder> clone() const override { return std::make_unique<OneDriveFinder>(*this); }

private:
    std::shared_ptr<Device> device_;
};
class OneDriveSource : public FakeSource {
public:
    OneDriveSource(std::shared_ptr<Device> device, int* scans)
        : FakeSource("One", {}, scans), device_(std::move(device)) {}
    std::unique_ptr<DeviceFinder> finder() const override { return std::make_unique<OneDriveFinder>(device_); }

private:
    std::shared_ptr<Device> device_;
};

TEST_F(RequestHandlerTest, AHealthScanBesideDrivesThatWereNotSeenHasNotFoundNothing) {
    const struct {
        uint8_t warning;
        const char* outcome;
        const char* why;
    } CASES[] = {{0x00, "100", "a drive that was not seen may be one that fails"},
                 {0x04, "102", "what was found weighs more"}};
    for (const auto& c : CASES) {
        fakedrive::FakeDrive drive;
        drive
            .expect(
                fakedrive::logPage(0x02, 512).dword(10, 0x007F8002).answers(fakedrive::smartLog().byte(0, c.warning)))
            .expect(fakedrive::identify(0x01).answers(fakedrive::identifyController()))
            .expect(fakedrive::hostUses({}));
        auto source = std::make_unique<OneDriveSource>(drive.device(), &scans_);
        source->errors.add("/sys/class/nvme/nvme1", EACCES, "it cannot be read");
        std::vector<std::unique_ptr<transport::DriveSource>> sources;
        sources.push_back(std::move(source));
        handler_ = std::make_unique<RequestHandler>(std::move(sources));
        const std::string answer =
            answerTo(R"(<Object name="HealthScan" type="Method"><Property name="Scan" value="true"/>)"
                     R"(<Property name="ReadScan" value="true"/></Object>)");
        EXPECT_EQ(answer.find("Nothing was found.") != std::string::npos, c.warning == 0) << answer;
        EXPECT_NE(answer.find(std::string(R"(<Property name="HealthScanStatusCode" value=")") + c.outcome + "\"/>"),
                  std::string::npos)
            << c.why << answer;
        EXPECT_NE(answer.find("it cannot be read"), std::string::npos) << answer;
    }
}

/// Serial numbers of digits alone, two of them equal; the last drive could not say its own.
TEST(RequestHandlerNames, DigitsAreASerialNumberWhereNoDriveHasTheIndex) {
    int scans = 0;
    auto source = std::make_unique<FakeSource>("Real",
                                               std::vector<FakeDrive>{{"/dev/nvme0", "1"},
                                                                      {"/dev/nvme1", "0042"},
                                                                      {"/dev/nvme2", "77"},
                                                                      {"/dev/nvme3", "77"},
                                                                      {"/dev/nvme4", ""}},
                                               &scans);
    FakeSource& drives = *source;
    std::vector<std::unique_ptr<transport::DriveSource>> sources;
    sources.push_back(std::move(source));
    RequestHandler handler(std::move(sources));
    const auto request = [&](const std::string& type, const std::string& index) {
        return answerOf(handler, R"(<Object name="VelkoSSD" type=")" + type +
                                     R"("><Property name="Scan" value="true"/><Object name="Properties"><Property )"
                                     R"(category="attribute" name="DevicePath" type="string" value="x"/></Object>)" +
                                     device("Index", index) + "</Object>");
    };
    const auto finds = [&](const std::string& index, const char* path) {
        return request("GetProperties", index).find(std::string("value=\"") + path + "\"") != std::string::npos;
    };
    const std::string ran = refusal("VelkoSSD", "10", "34", "Feature is not supported.");
    EXPECT_TRUE(finds("1", "/dev/nvme1")) << "an index first";
    EXPECT_TRUE(finds("0042", "/dev/nvme1"));
    EXPECT_EQ(request("SetProperty", "0042"), ran);
    EXPECT_TRUE(finds("77", "/dev/nvme2")) << "the first of two";
    EXPECT_EQ(request("SetProperty", "77"),
              refusal("VelkoSSD", "10", "6",
                      "Multiple devices selected. &apos;77&apos; fits several drives: name one by its path "
                      "(/dev/nvme2, /dev/nvme3)."));
    for (const char* const none : {"42", "5", ""}) {
        EXPECT_EQ(request("GetProperties", none),
                  refusal("VelkoSSD", "0", "4", "Provided device index is invalid. Device could not be found."))
            << none;
    }
    drives.errors.add("/sys", ENOENT, "sysfs is not mounted");
    EXPECT_NE(request("SetProperty", "0042").find("Name the drive by its serial number or path."), std::string::npos)
        << "a drive that was not seen may have the index";
}

/// A drive with a twin of its serial number, and one whose serial number is an index.
TEST(RequestHandlerNames, ANameThatFitsTwoDrivesShowsTheFirstAndChangesNone) {
    int scans = 0;
    auto source = std::make_unique<FakeSource>(
        "Real", std::vector<FakeDrive>{{"/dev/nvme0", "S1"}, {"/dev/nvme1", "s1"}, {"/dev/nvme2", "0"}}, &scans);
    FakeSource& drives = *source;
    std::vector<std::unique_ptr<transport::DriveSource>> sources;
    sources.push_back(std::move(source));
    RequestHandler handler(std::move(sources));
    const auto request = [&](const std::string& type, const std::string& name) {
        return answerOf(handler, R"(<Object name="VelkoSSD" type=")" + type +
                                     R"("><Property name="Scan" value="true"/><Object name="Properties"><Property )"
                                     R"(category="attribute" name="DevicePath" type="string" value="x"/></Object>)" +
                                     name + "</Object>");
    };
    const auto finds = [&](const std::string& name, const char* path) {
        return request("GetProperties", name).find(std::string("value=\"") + path + "\"") != std::string::npos;
    };
    const std::string bySerial = device("SerialNumber", "S1");
    const std::string byIndex = device("Index", "0");
    EXPECT_TRUE(finds(bySerial, "/dev/nvme0"));
    EXPECT_TRUE(finds(byIndex, "/dev/nvme0"));
    EXPECT_EQ(request("SetProperty", bySerial),
              refusal("VelkoSSD", "10", "6",
                      "Multiple devices selected. &apos;S1&apos; fits several drives: name one by its path "
                      "(/dev/nvme0, /dev/nvme1)."));
    EXPECT_EQ(request("SetProperty", byIndex),
              refusal("VelkoSSD", "10", "6",
                      "Multiple devices selected. &apos;0&apos; fits several drives: name one by its path "
                      "(/dev/nvme0, /dev/nvme2)."));
    EXPECT_EQ(request("SetProperty", device("Index", "1")),
              refusal("VelkoSSD", "10", "34", "Feature is not supported."));
    drives.controllers = {"/dev/nvme1", "/dev/nvme0"};
    EXPECT_TRUE(finds(bySerial, "/dev/nvme1")) << "one drive: its live controller";
    EXPECT_EQ(request("SetProperty", bySerial), refusal("VelkoSSD", "10", "34", "Feature is not supported."));
}

}  // namespace
}  // namespace features::library
