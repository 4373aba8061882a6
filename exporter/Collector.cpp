#include "exporter/Collector.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <utility>

#include "exporter/DriveReader.h"
#include "exporter/LibraryClient.h"

namespace exporter {
namespace {

using Json = nlohmann::json;

constexpr char LIST_LOCK[] = "list";
constexpr char SUCCESS[] = ".success";

/// Two controllers of one drive have two.
std::string lockName(const DriveName& drive) {
    return hashText(drive.serial + '\0' + drive.model + '\0' + drive.device);
}

void loadInto(LibraryClient& library) {
    const std::string error = library.load();
    if (!error.empty()) throw std::runtime_error(error);
}

std::string listInChild() {
    LibraryClient library;
    loadInto(library);
    const DriveList list = listDrives(library);
    return Json{{"drives", Json::parse(toJson(list.drives))}, {"error", list.error}}.dump(
        -1, ' ', false, Json::error_handler_t::replace);
}

std::string readInChild(const DriveName& drive) {
    LibraryClient library;
    loadInto(library);
    return toJson(readDrive(library, drive));
}

std::string reasonOf(const ChildOutcome& outcome) {
    return outcome.end == ChildEnd::BUSY ? "another process reads it" : outcome.text;
}

bool isNamed(const DriveName& drive, const std::string& name) {
    return name == drive.serial || name == drive.device;
}

/// The named drives, in the order of the list, and a reading with an error for each name that fits none.
std::vector<DriveName> select(const std::vector<DriveName>& drives, const std::vector<std::string>& names,
                              Collection& collection) {
    if (names.empty()) return drives;
    std::vector<DriveName> selected;
    for (const DriveName& drive : drives) {
        const auto fits = [&](const std::string& name) { return isNamed(drive, name); };
        if (std::any_of(names.begin(), names.end(), fits)) selected.push_back(drive);
    }
    for (const std::string& name : names) {
        const auto fits = [&](const DriveName& drive) { return isNamed(drive, name); };
        if (std::any_of(drives.begin(), drives.end(), fits)) continue;
        DriveReading missing{{"", name, "", ""}};
        missing.errors.emplace_back("there is no such drive");
        collection.drives.push_back(std::move(missing));
    }
    return selected;
}

}  // namespace

std::string toJson(const Collection& collection) {
    Json drives = Json::array();
    for (const DriveReading& reading : collection.drives) {
        Json json = Json::parse(toJson(reading));
        json["stuck"] = reading.isStuck;
        if (reading.lastSuccess) json["success"] = *reading.lastSuccess;
        drives.push_back(std::move(json));
    }
    return Json{{"drives", std::move(drives)},
                {"error", collection.scanError},
                {"time", collection.time},
                {"duration", collection.durationSeconds}}
        .dump(-1, ' ', false, Json::error_handler_t::replace);
}

Collection collectionFromJson(const std::string& text) {
    const Json json = Json::parse(text);
    Collection collection;
    for (const Json& drive : json.at("drives")) {
        DriveReading reading = readingFromJson(drive.dump());
        drive.at("stuck").get_to(reading.isStuck);
        if (drive.contains("success")) reading.lastSuccess = drive["success"].get<std::time_t>();
        collection.drives.push_back(std::move(reading));
    }
    json.at("error").get_to(collection.scanError);
    json.at("time").get_to(collection.time);
    json.at("duration").get_to(collection.durationSeconds);
    return collection;
}

Collection Collector::collect(const std::vector<std::string>& names) const {
    const auto start = std::chrono::steady_clock::now();
    Collection collection;
    collection.time = std::time(nullptr);
    const auto drives = select(list(collection), names, collection);
    std::vector<ChildTask> tasks;
    tasks.reserve(drives.size());
    for (const DriveName& drive : drives) tasks.push_back({lockName(drive), [&drive] { return readInChild(drive); }});
    const auto outcomes = runChildren(tasks, locks_, limits_);
    for (std::size_t i = 0; i < drives.size(); ++i) collection.drives.push_back(toReading(drives[i], outcomes[i]));
    collection.durationSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return collection;
}

std::vector<DriveName> Collector::list(Collection& collection) const {
    const ChildOutcome outcome = runChildren({{LIST_LOCK, listInChild}}, locks_, limits_).front();
    if (outcome.end != ChildEnd::ANSWERED) {
        collection.scanError = reasonOf(outcome);
        return {};
    }
    const Json json = Json::parse(outcome.text);
    json.at("error").get_to(collection.scanError);
    return drivesFromJson(json.at("drives").dump());
}

DriveReading Collector::toReading(const DriveName& drive, const ChildOutcome& outcome) const {
    const std::string success = lockName(drive) + SUCCESS;
    DriveReading reading{drive};
    if (outcome.end == ChildEnd::ANSWERED) {
        reading = readingFromJson(outcome.text);
        reading.drive.device = drive.device;  // the labels are those of the list, whatever a drive says meanwhile
        reading.drive.serial = drive.serial;
    } else {
        reading.errors.push_back(reasonOf(outcome));
    }
    reading.isStuck = outcome.end == ChildEnd::STUCK || outcome.end == ChildEnd::BUSY;
    if (reading.isUp) {
        const std::string error = locks_.touch(success, std::time(nullptr));
        if (!error.empty()) reading.errors.push_back(error);
    }
    reading.lastSuccess = locks_.touchedAt(success);
    return reading;
}

}  // namespace exporter
