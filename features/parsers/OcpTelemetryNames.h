#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "features/nvme/FieldTable.h"
#include "features/nvme/OcpLogPages.h"
#include "ostrel/core/Payload.h"

namespace features::parsers {

/// The events of a class of OCP telemetry.
struct OcpEventClass {
    uint8_t id;
    const char* name;
    const nvme::Word* events;
    uint8_t dataBytes;  ///< before the maker's own part
};
/// Classes of the maker's own begin here.
inline constexpr uint8_t FIRST_VENDOR_EVENT_CLASS = 0x80;
/// Null for a class that is not of the specification.
const OcpEventClass* findOcpEventClass(uint8_t id);
/// The fields of an event's data; none where it has no data but the maker's.
nvme::FieldRows ocpEventFields(uint8_t eventClass, uint16_t id);

/// Names of statistics, events and FIFOs: those of the specification, and of the drive's string log (C9h) where it has
/// them. The empty string: there is none.
class OcpTelemetryNames {
public:
    /// `stringLog`: the page, or empty.
    explicit OcpTelemetryNames(const ostrel::core::Payload& stringLog);

    std::string statistic(uint16_t id) const;
    std::string event(uint8_t eventClass, uint16_t id) const;
    /// Of the maker's part of an event.
    std::string vendorEvent(uint8_t eventClass, uint16_t id) const;
    /// `number`: 1 to 16.
    std::string fifo(unsigned number) const;

private:
    std::string find(nvme::OcpTelemetryString::Kind kind, uint8_t eventClass, uint16_t id) const;

    std::vector<nvme::OcpTelemetryString> strings_;
};

}  // namespace features::parsers
