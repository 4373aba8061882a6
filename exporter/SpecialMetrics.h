#pragma once

#include "exporter/DriveReading.h"
#include "ostrel/core/xml/XmlObject.h"

/// The metrics that are no row of the table: those of parts of a drive, and those that take more than one value. Each
/// takes the output of one request.
namespace exporter {

/// What the drive itself says of its model and firmware.
void updateName(const ostrel::core::xml::XmlObject& identity, DriveName& drive);
/// Namespaces, and the capacity of the drive.
void addNamespaces(const ostrel::core::xml::XmlObject& identity, DriveReading& reading);
/// Whether the newest self-test failed, and when one of each kind passed.
void addSelfTests(const ostrel::core::xml::XmlObject& selfTest, DriveReading& reading);
void addSataAttributes(const ostrel::core::xml::XmlObject& smart, DriveReading& reading);

}  // namespace exporter
