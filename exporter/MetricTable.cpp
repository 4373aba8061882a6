#include "exporter/MetricTable.h"

#include <iterator>

namespace exporter {
namespace {

constexpr auto GAUGE = MetricType::GAUGE;
constexpr auto COUNTER = MetricType::COUNTER;
constexpr bool KEPT = true;
constexpr auto IDENTITY = Request::IDENTITY;
constexpr auto SMART = Request::SMART;
constexpr auto SENSORS = Request::SENSORS;
constexpr auto PERFORMANCE = Request::PERFORMANCE;
constexpr auto SELF_TEST = Request::SELF_TEST;
constexpr auto SANITIZE = Request::SANITIZE;
constexpr auto BACKGROUND = Request::BACKGROUND;

constexpr char SANITIZE_RUNS[] = "a sanitize operation is in progress";

// clang-format off
constexpr MetricRow METRICS[] = {
    {"nimbrel_drive_info", GAUGE, false, "Identity of the drive: always 1.", "", "", {}, {}},
    {"nimbrel_drive_up", GAUGE, false, "Whether the drive answered every request of the last run.", "", "", {}, {}},
    {"nimbrel_drive_stuck", GAUGE, false, "Whether a process that reads the drive has not come back; it is not read meanwhile.", "", "", {}, {}},
    {"nimbrel_drive_request_success", GAUGE, false, "Whether the drive answered a request of the last run.", "", "", {}, {}},
    {"nimbrel_drive_read_duration_seconds", GAUGE, false, "Time that the drive took to answer all requests of the last run.", "", "", {}, {}},
    {"nimbrel_drive_last_success_timestamp_seconds", GAUGE, false, "When the drive last answered every request, since 1970; absent when not since the host started.", "", "", {}, {}},
    {"nimbrel_drive_healthy", GAUGE, KEPT, "Whether the drive reports that nothing is wrong with it.", "", "", {IDENTITY, "DeviceStatus", Conversion::ONE_OF, "Healthy"}, {}},
    {"nimbrel_drive_critical_warning", GAUGE, false, "Critical warnings of the SMART / Health log: 1 while the drive reports one.", "warning", "spare", {SMART, "AvailableSpareWarning", Conversion::FLAG}, {}},
    {"", GAUGE, false, "", "warning", "temperature", {SMART, "TemperatureWarning", Conversion::FLAG}, {}},
    {"", GAUGE, false, "", "warning", "reliability", {SMART, "ReliabilityWarning", Conversion::FLAG}, {}},
    {"", GAUGE, false, "", "warning", "read_only", {SMART, "ReadOnlyWarning", Conversion::FLAG}, {}},
    {"", GAUGE, false, "", "warning", "volatile_backup", {SMART, "VolatileMemoryWarning", Conversion::FLAG}, {}},
    {"", GAUGE, false, "", "warning", "group_spare", {SMART, "EnduranceGroupAvailSpareCapacityThresholdWarning", Conversion::FLAG}, {}},
    {"", GAUGE, false, "", "warning", "group_reliability", {SMART, "EnduranceGroupReliabilityWarning", Conversion::FLAG}, {}},
    {"", GAUGE, false, "", "warning", "group_read_only", {SMART, "EnduranceGroupReadOnlyWarning", Conversion::FLAG}, {}},
    {"nimbrel_drive_wear_ratio", GAUGE, KEPT, "Estimated share of the drive's life that is used; above 1 past its rated life.", "", "", {SMART, "PercentageUsed"}, {SENSORS, "PercentageUsed"}},
    {"nimbrel_drive_available_spare_ratio", GAUGE, KEPT, "Spare capacity that is left.", "", "", {SMART, "AvailableSpare"}, {}},
    {"nimbrel_drive_available_spare_threshold_ratio", GAUGE, false, "Spare capacity below which the drive warns.", "", "", {SMART, "AvailableSpareThreshold"}, {}},
    {"nimbrel_drive_temperature_celsius", GAUGE, KEPT, "Temperature of the drive (NVMe: composite).", "", "", {SMART, "Temperature"}, {SENSORS, "Temperature"}},
    {"nimbrel_drive_temperature_sensor_celsius", GAUGE, false, "Temperature of each sensor that the drive has.", "sensor", "1", {SMART, "TemperatureSensor1"}, {}},
    {"", GAUGE, false, "", "sensor", "2", {SMART, "TemperatureSensor2"}, {}},
    {"", GAUGE, false, "", "sensor", "3", {SMART, "TemperatureSensor3"}, {}},
    {"", GAUGE, false, "", "sensor", "4", {SMART, "TemperatureSensor4"}, {}},
    {"", GAUGE, false, "", "sensor", "5", {SMART, "TemperatureSensor5"}, {}},
    {"", GAUGE, false, "", "sensor", "6", {SMART, "TemperatureSensor6"}, {}},
    {"", GAUGE, false, "", "sensor", "7", {SMART, "TemperatureSensor7"}, {}},
    {"", GAUGE, false, "", "sensor", "8", {SMART, "TemperatureSensor8"}, {}},
    {"nimbrel_drive_warning_temperature_seconds_total", COUNTER, KEPT, "Time at or above the warning temperature.", "", "", {SMART, "WarningCompositeTemperatureTime"}, {}},
    {"nimbrel_drive_critical_temperature_seconds_total", COUNTER, KEPT, "Time at or above the critical temperature.", "", "", {SMART, "CriticalCompositeTemperatureTime"}, {}},
    {"nimbrel_drive_thermal_management_transitions_total", COUNTER, false, "How often host controlled thermal management throttled the drive.", "level", "1", {SMART, "ThermalManagementTemperature1TransitionCount"}, {}},
    {"", COUNTER, false, "", "level", "2", {SMART, "ThermalManagementTemperature2TransitionCount"}, {}},
    {"nimbrel_drive_thermal_management_seconds_total", COUNTER, false, "How long host controlled thermal management throttled the drive.", "level", "1", {SMART, "TotalTimeForThermalManagementTemperature1"}, {}},
    {"", COUNTER, false, "", "level", "2", {SMART, "TotalTimeForThermalManagementTemperature2"}, {}},
    {"nimbrel_drive_read_bytes_total", COUNTER, KEPT, "Bytes that the host read (NVMe: in units of 512,000).", "", "", {SMART, "DataUnitsRead"}, {PERFORMANCE, "BytesRead"}},
    {"nimbrel_drive_written_bytes_total", COUNTER, KEPT, "Bytes that the host wrote (NVMe: in units of 512,000).", "", "", {SMART, "DataUnitsWritten"}, {PERFORMANCE, "BytesWritten"}},
    {"nimbrel_drive_read_commands_total", COUNTER, false, "Read commands of the host.", "", "", {SMART, "HostReadCommands"}, {PERFORMANCE, "HostReadCommands"}},
    {"nimbrel_drive_write_commands_total", COUNTER, false, "Write commands of the host.", "", "", {SMART, "HostWriteCommands"}, {PERFORMANCE, "HostWriteCommands"}},
    {"nimbrel_drive_busy_seconds_total", COUNTER, false, "Time in which the controller had I/O commands to do.", "", "", {SMART, "ControllerBusyTime"}, {}},
    {"nimbrel_drive_power_on_seconds_total", COUNTER, KEPT, "Time that the drive was powered on.", "", "", {SMART, "PowerOnHours"}, {SENSORS, "PowerOnHours"}},
    {"nimbrel_drive_power_cycles_total", COUNTER, KEPT, "Power cycles.", "", "", {SMART, "PowerCycles"}, {SENSORS, "PowerCycles"}},
    {"nimbrel_drive_unsafe_shutdowns_total", COUNTER, KEPT, "Shutdowns without a notification of the drive.", "", "", {SMART, "UnsafeShutdowns"}, {}},
    {"nimbrel_drive_media_errors_total", COUNTER, KEPT, "Unrecovered data integrity errors (SATA: reported uncorrectable errors).", "", "", {SMART, "MediaErrors"}, {SENSORS, "MediaErrors"}},
    {"nimbrel_drive_error_log_entries_total", COUNTER, KEPT, "Entries that the drive made in its Error Information log.", "", "", {SMART, "NumErrorInfoLogEntries"}, {}},
    {"nimbrel_drive_interface_crc_errors_total", COUNTER, KEPT, "CRC errors on the interface to the host.", "", "", {SMART, "CrcErrorCount"}, {SENSORS, "CrcErrorCount"}},
    {"nimbrel_drive_program_fails_total", COUNTER, false, "Failed programs of flash blocks.", "", "", {SMART, "ProgramFailCount"}, {}},
    {"nimbrel_drive_erase_fails_total", COUNTER, false, "Failed erases of flash blocks.", "", "", {SMART, "EraseFailCount"}, {}},
    {"nimbrel_drive_media_written_bytes_total", COUNTER, KEPT, "Bytes written to the flash.", "", "", {SMART, "PhysicalMediaUnitsWritten"}, {SMART, "NandBytesWritten"}},
    {"nimbrel_drive_media_read_bytes_total", COUNTER, false, "Bytes read from the flash.", "", "", {SMART, "PhysicalMediaUnitsRead"}, {}},
    {"nimbrel_drive_minimum_erase_cycles", GAUGE, false, "Erase cycles of the least worn block.", "", "", {SMART, "MinimumUserDataEraseCount"}, {SMART, "MinNandEraseCycles"}},
    {"nimbrel_drive_maximum_erase_cycles", GAUGE, false, "Erase cycles of the most worn block.", "", "", {SMART, "MaximumUserDataEraseCount"}, {SMART, "MaxNandEraseCycles"}},
    {"nimbrel_drive_average_erase_cycles", GAUGE, false, "Erase cycles of a block on average.", "", "", {SMART, "NANDAverageEraseCount"}, {SMART, "AverageNandEraseCycles"}},
    {"nimbrel_drive_throttling_level", GAUGE, false, "How far the drive throttles itself: 0 is not at all.", "", "", {SMART, "CurrentThrottlingStatus", Conversion::LEVEL, "not throttled|first level|second level|third level"}, {SMART, "ThermalThrottleStatus", Conversion::LEVEL, "none|light|heavy"}},
    {"nimbrel_drive_throttling_events_total", COUNTER, false, "How often the drive throttled itself.", "", "", {SMART, "NumberofThermalThrottlingEvents"}, {SMART, "ThermalThrottleCount"}},
    {"nimbrel_drive_capacity_bytes", GAUGE, false, "Capacity of the drive; of one that does not report it, that of its namespaces.", "", "", {}, {}},
    {"nimbrel_drive_unallocated_bytes", GAUGE, false, "Capacity in no namespace.", "", "", {IDENTITY, "UnallocatedCapacity"}, {}},
    {"nimbrel_drive_namespaces", GAUGE, false, "Namespaces that the host sees.", "", "", {}, {}},
    {"nimbrel_namespace_size_bytes", GAUGE, false, "Size of a namespace; of the first 32 of a drive.", "", "", {}, {}},
    {"nimbrel_namespace_used_bytes", GAUGE, false, "Allocated blocks of a namespace; of the first 32 of a drive.", "", "", {}, {}},
    {"nimbrel_drive_firmware_reset_pending", GAUGE, false, "Whether firmware waits for a reset that activates it.", "", "", {IDENTITY, "StagedFirmware", Conversion::NONE_OF, "None"}, {}},
    {"nimbrel_drive_pcie_link_speed_transfers_per_second", GAUGE, false, "Speed of the PCI Express link now.", "", "", {IDENTITY, "PCILinkSpeed"}, {}},
    {"nimbrel_drive_pcie_link_speed_max_transfers_per_second", GAUGE, false, "Best speed that the drive's side of the link has.", "", "", {IDENTITY, "PCILinkSpeedMaximum"}, {}},
    {"nimbrel_drive_pcie_link_width_lanes", GAUGE, false, "Lanes of the PCI Express link now.", "", "", {IDENTITY, "PCILinkWidth"}, {}},
    {"nimbrel_drive_pcie_link_width_max_lanes", GAUGE, false, "Lanes that the drive's side of the link has.", "", "", {IDENTITY, "PCILinkWidthMaximum"}, {}},
    {"nimbrel_drive_sata_link_speed_bytes_per_second", GAUGE, false, "Signalling rate of the SATA link now, in bytes of 8 bits.", "", "", {IDENTITY, "SataNegotiatedSpeed"}, {}},
    {"nimbrel_drive_self_test_running", GAUGE, false, "Whether a self-test runs.", "", "", {SELF_TEST, "SelfTestProgress", Conversion::PRESENT}, {}},
    {"nimbrel_drive_self_test_progress_ratio", GAUGE, false, "Progress of the self-test that runs.", "", "", {SELF_TEST, "SelfTestProgress"}, {}},
    {"nimbrel_drive_self_test_result", GAUGE, KEPT, "Result code of the newest self-test, 0 without an error; absent while one runs and before the first.", "", "", {SELF_TEST, "SelfTestStatusCode"}, {}},
    {"nimbrel_drive_self_test_failed", GAUGE, KEPT, "Whether the newest self-test ended with a failure of the drive.", "", "", {}, {}},
    {"nimbrel_drive_self_test_passed_power_on_seconds", GAUGE, false, "Power-on time of the drive when a self-test last completed without an error.", "", "", {}, {}},
    {"nimbrel_drive_sanitize_running", GAUGE, false, "Whether a sanitize operation runs.", "", "", {SANITIZE, "SSTAT Status", Conversion::ONE_OF, SANITIZE_RUNS}, {BACKGROUND, "Sanitize", Conversion::BEGINS_WITH, SANITIZE_RUNS}},
    {"nimbrel_drive_sanitize_failed", GAUGE, false, "Whether the newest sanitize operation failed.", "", "", {SANITIZE, "SSTAT Status", Conversion::ONE_OF, "the most recent sanitize operation failed"}, {}},
    {"nimbrel_drive_sanitize_progress_ratio", GAUGE, false, "Progress of the sanitize operation; as good as 1 (65535 of 65536) while none runs.", "", "", {SANITIZE, "SPROG"}, {BACKGROUND, "Sanitize", Conversion::DONE}},
    {"nimbrel_drive_ocp_bad_user_blocks", GAUGE, KEPT, "Bad blocks for the user's data (OCP log page C0h).", "", "", {SMART, "BadUserNANDBlocksRawCount"}, {}},
    {"nimbrel_drive_ocp_bad_user_blocks_margin_ratio", GAUGE, KEPT, "Normalized value of the bad user blocks: 1 when new, 0 when none may follow.", "", "", {SMART, "BadUserNANDBlocksNormalizedValue"}, {}},
    {"nimbrel_drive_ocp_bad_system_blocks", GAUGE, false, "Bad blocks for the drive's own data.", "", "", {SMART, "BadSystemNANDBlocksRawCount"}, {}},
    {"nimbrel_drive_ocp_bad_system_blocks_margin_ratio", GAUGE, false, "Normalized value of the bad system blocks.", "", "", {SMART, "BadSystemNANDBlocksNormalizedValue"}, {}},
    {"nimbrel_drive_ocp_xor_recoveries_total", COUNTER, false, "Reads that redundancy between dies recovered.", "", "", {SMART, "XORRecoveryCount"}, {}},
    {"nimbrel_drive_ocp_uncorrectable_reads_total", COUNTER, false, "Reads that no recovery could correct.", "", "", {SMART, "UncorrectableReadErrorCount"}, {}},
    {"nimbrel_drive_ocp_soft_ecc_errors_total", COUNTER, false, "Reads that the first level of correction could not correct.", "", "", {SMART, "SoftECCErrorCount"}, {}},
    {"nimbrel_drive_ocp_end_to_end_detected_errors_total", COUNTER, false, "Errors that end-to-end protection detected.", "", "", {SMART, "EndtoEndCorrectionCountsDetectedErrors"}, {SMART, "EndToEndErrorDetectionCount"}},
    {"nimbrel_drive_ocp_end_to_end_corrected_errors_total", COUNTER, false, "Errors that end-to-end protection corrected.", "", "", {SMART, "EndtoEndCorrectionCountsCorrectedErrors"}, {}},
    {"nimbrel_drive_ocp_system_data_wear_ratio", GAUGE, false, "Used share of the life of the drive's own data area.", "", "", {SMART, "SystemDataPercentageUsed"}, {}},
    {"nimbrel_drive_ocp_refreshes_total", COUNTER, false, "Blocks that were rewritten to keep their data.", "", "", {SMART, "RefreshCounts"}, {}},
    {"nimbrel_drive_ocp_pcie_correctable_errors_total", COUNTER, false, "Correctable errors of the PCI Express link.", "", "", {SMART, "PCIeCorrectableErrorCount"}, {}},
    {"nimbrel_drive_ocp_pcie_link_retrainings_total", COUNTER, false, "Retrainings of the PCI Express link.", "", "", {SMART, "PCIeLinkRetrainingCount"}, {}},
    {"nimbrel_drive_ocp_incomplete_shutdowns_total", COUNTER, false, "Shutdowns in which the capacitors' energy did not suffice.", "", "", {SMART, "IncompleteShutdowns"}, {}},
    {"nimbrel_drive_ocp_power_loss_protection_starts_total", COUNTER, false, "Power losses in which the capacitors were used.", "", "", {SMART, "PLPStartCount"}, {}},
    {"nimbrel_drive_ocp_capacitor_health_ratio", GAUGE, false, "Health of the capacitors: above 1 is better than required.", "", "", {SMART, "CapacitorHealth"}, {}},
    {"nimbrel_drive_ocp_free_blocks_ratio", GAUGE, false, "Free blocks.", "", "", {SMART, "FreeBlocks"}, {}},
    {"nimbrel_drive_ocp_unaligned_commands_total", COUNTER, false, "Writes that were not aligned to the drive's unit.", "", "", {SMART, "UnalignedIO"}, {}},
    {"nimbrel_drive_ocp_command_timeouts_total", COUNTER, false, "Commands that ran out of time in the drive.", "", "", {SMART, "CommandTimeouts"}, {}},
    {"nimbrel_drive_ocp_endurance_estimate_bytes", GAUGE, false, "Bytes that the drive can be written in its life.", "", "", {SMART, "EnduranceEstimate"}, {}},
    {"nimbrel_drive_ocp_media_dies_offline", GAUGE, false, "Dies that are no longer used.", "", "", {SMART, "MediaDiesOffline"}, {}},
    {"nimbrel_drive_sata_attribute_value", GAUGE, false, "Normalized value of a SMART attribute of a SATA drive.", "", "", {}, {}},
    {"nimbrel_drive_sata_attribute_threshold", GAUGE, false, "Normalized value at which a SMART attribute fails.", "", "", {}, {}},
    {"nimbrel_drive_sata_attribute_raw", GAUGE, false, "Raw value of a SMART attribute, where it is a number.", "", "", {}, {}},
    {"nimbrel_exporter_build_info", GAUGE, false, "Version of nimbrel-exporter: always 1.", "", "", {}, {}},
    {"nimbrel_exporter_scan_success", GAUGE, false, "Whether the list of drives could be read, and everything be looked at for it.", "", "", {}, {}},
    {"nimbrel_exporter_drives", GAUGE, false, "Drives that the host has.", "", "", {}, {}},
    {"nimbrel_exporter_last_run_timestamp_seconds", GAUGE, false, "When the drives were last read, since 1970.", "", "", {}, {}},
    {"nimbrel_exporter_run_duration_seconds", GAUGE, false, "How long that took for all drives together.", "", "", {}, {}},
};
// clang-format on

const char* typeText(const MetricRow& row) {
    return row.type == MetricType::COUNTER ? "counter" : "gauge";
}

}  // namespace

MetricRows metricRows() {
    return {std::begin(METRICS), std::end(METRICS)};
}

const MetricRow* findMetric(std::string_view name) {
    for (const MetricRow& row : METRICS) {
        if (!name.empty() && row.name == name) return &row;
    }
    return nullptr;
}

std::string metricsAsMarkdown() {
    std::string text = "| metric | type | what it is | snapshots |\n|---|---|---|---|\n";
    for (const MetricRow& row : METRICS) {
        if (*row.name == '\0') continue;
        text += std::string("| `") + row.name + "` | " + typeText(row) + " | " + row.help + " | " +
                (row.isKept ? "kept" : "") + " |\n";
    }
    return text;
}

}  // namespace exporter
