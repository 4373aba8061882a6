#pragma once

#include "ostrel/core/AttributeList.h"
#include "ostrel/core/Payload.h"

namespace features::nvme {

/// Health and performance of a drive as attributes of the vocabulary, out of its logs. All take the bytes as the
/// controller gave them, and leave out what is after their end.
///
/// Units are in the attribute's description, which is shown after the value. Counters of 128 bits are exact decimals
/// of type "string". A temperature is signed; one that the drive does not report reads "not reported", as a string and
/// without a unit.

/// Log 02h, whole.
ostrel::core::AttributeList smartAttributes(const ostrel::core::Payload& smartLog);
/// The health sensors of log 02h.
ostrel::core::AttributeList healthMetrics(const ostrel::core::Payload& smartLog);
/// The health sensors that log C0h of the OCP specification adds.
ostrel::core::AttributeList ocpHealthMetrics(const ostrel::core::Payload& ocpSmartLog);
/// The work done, out of log 02h.
ostrel::core::AttributeList performanceMetrics(const ostrel::core::Payload& smartLog);

}  // namespace features::nvme
