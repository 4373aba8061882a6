#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "features/nvme/FieldTree.h"
#include "ostrel/core/Payload.h"

namespace features::parsers {

/// A telemetry log (07h or 08h), decoded: the header, and on a drive after the OCP Datacenter NVMe SSD Specification
/// 2.5 what data areas 1 and 2 hold: statistics and event FIFOs, with their names. It does not matter whether the bytes
/// came from a drive or out of a file. Data area 1 is OCP's where its copy of log page C0h bears OCP's GUID: only the
/// header of another log is shown, since its data is the maker's own.
///
/// A damaged log is shown as far as it goes: a record that does not fit is reported and ends its list, and the other
/// lists are decoded.
struct TelemetryLog {
    /// Whether the bytes begin like such a log: its identifier, and a whole header. Nothing else here has a meaning
    /// when they do not.
    bool isOne = false;
    bool isOcp = false;
    nvme::FieldTree tree;
    /// Sentences, without their stops.
    std::vector<std::string> damages;

    /// All that is wrong with the log, in sentences; empty: nothing.
    std::string damageText() const;
};

/// `stringLog`: the drive's log page C9h with the maker's names; may be empty.
TelemetryLog parseTelemetryLog(const uint8_t* data, size_t size, const ostrel::core::Payload& stringLog);

}  // namespace features::parsers
