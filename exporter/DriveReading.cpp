#include "exporter/DriveReading.h"

#include <nlohmann/json.hpp>

#include <cstdio>

namespace exporter {

using Json = nlohmann::json;

namespace {

std::string dump(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

void to_json(Json& json, const DriveName& drive) {
    json = {{"device", drive.device}, {"serial", drive.serial}, {"model", drive.model}, {"firmware", drive.firmware}};
}

void from_json(const Json& json, DriveName& drive) {
    json.at("device").get_to(drive.device);
    json.at("serial").get_to(drive.serial);
    json.at("model").get_to(drive.model);
    json.at("firmware").get_to(drive.firmware);
}

void to_json(Json& json, const Sample& sample) {
    json = {sample.name, sample.labels, sample.value};
}

void from_json(const Json& json, Sample& sample) {
    json.at(0).get_to(sample.name);
    json.at(1).get_to(sample.labels);
    json.at(2).get_to(sample.value);
}

std::string DriveName::text() const {
    if (serial.empty() || device.empty()) return serial + device;
    return serial + " (" + device + ")";
}

std::string toJson(const DriveReading& reading) {
    return dump({{"drive", reading.drive},
                 {"up", reading.isUp},
                 {"duration", reading.durationSeconds},
                 {"errors", reading.errors},
                 {"samples", reading.samples}});
}

std::string toJson(const std::vector<DriveName>& drives) {
    return dump(Json(drives));
}

DriveReading readingFromJson(const std::string& text) {
    const Json json = Json::parse(text);
    DriveReading reading;
    json.at("drive").get_to(reading.drive);
    json.at("up").get_to(reading.isUp);
    json.at("duration").get_to(reading.durationSeconds);
    json.at("errors").get_to(reading.errors);
    json.at("samples").get_to(reading.samples);
    return reading;
}

std::vector<DriveName> drivesFromJson(const std::string& text) {
    return Json::parse(text).get<std::vector<DriveName>>();
}

std::string hashText(const std::string& text) {
    uint64_t hash = 0xCBF29CE484222325;
    for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
    char digits[17];
    (void)std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(hash));  // it fits
    return digits;
}

}  // namespace exporter
