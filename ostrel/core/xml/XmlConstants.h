#pragma once

/// The words of the messages between tool and feature library. They travel on the wire, in exactly this spelling.
/// Character arrays and not strings, so that they are there before any static object of any file is built.
namespace ostrel::core::xml {

// The tag says the shape of an element, and nothing more.
inline constexpr char TAG_MESSAGE[] = "Message";
inline constexpr char TAG_OBJECT[] = "Object";
inline constexpr char TAG_LIST[] = "List";
inline constexpr char TAG_PROPERTY[] = "Property";

// Keys of attributes.
inline constexpr char KEY_CATEGORY[] = "category";  // what the element is: one of the values below
inline constexpr char KEY_DESCRIPTION[] = "description";
inline constexpr char KEY_DISPLAY_NAME[] = "displayName";
inline constexpr char KEY_IDENTIFIER[] = "identifier";
inline constexpr char KEY_KEY[] = "key";
inline constexpr char KEY_NAME[] = "name";
inline constexpr char KEY_SIZE[] = "size";
inline constexpr char KEY_MAX_SIZE[] = "maxSize";
inline constexpr char KEY_TYPE[] = "type";
inline constexpr char KEY_VALUE[] = "value";

// Values of "category". Some serve as the name of a property too.
inline constexpr char CATEGORY_ATTRIBUTE[] = "attribute";
inline constexpr char CATEGORY_ATTRIBUTE_LIST[] = "attributeList";
inline constexpr char CATEGORY_COMMAND[] = "command";
inline constexpr char CATEGORY_COMMAND_HISTORY[] = "commandHistory";
inline constexpr char CATEGORY_COMMAND_PATH[] = "commandPath";
inline constexpr char CATEGORY_COMMAND_PATH_LIST[] = "commandPathList";
inline constexpr char CATEGORY_COMMAND_RESULT[] = "commandResult";
inline constexpr char CATEGORY_COMMAND_RESULT_LIST[] = "commandResultList";
inline constexpr char CATEGORY_COMMAND_SET[] = "commandSet";
inline constexpr char CATEGORY_COMMAND_SET_LIST[] = "commandSetList";
inline constexpr char CATEGORY_CONNECTION[] = "connection";
inline constexpr char CATEGORY_CONNECTION_LIST[] = "connectionList";
inline constexpr char CATEGORY_DEVICE[] = "device";
inline constexpr char CATEGORY_DEVICE_LIST[] = "deviceList";
inline constexpr char CATEGORY_DURATION[] = "duration";
inline constexpr char CATEGORY_END_TIME[] = "endTime";
inline constexpr char CATEGORY_INPUT_PAYLOAD[] = "inputPayload";
inline constexpr char CATEGORY_OUTPUT[] = "Output";  // the one with a capital; readers compare it ignoring case
inline constexpr char CATEGORY_OUTPUT_PAYLOAD[] = "outputPayload";
inline constexpr char CATEGORY_PARTITION[] = "partition";
inline constexpr char CATEGORY_PARTITION_LIST[] = "partitionList";
inline constexpr char CATEGORY_PAYLOAD[] = "payload";
inline constexpr char CATEGORY_PROTOCOL_RESULT[] = "protocolResult";
inline constexpr char CATEGORY_QUIET_TO_XML[] = "quietToXml";
inline constexpr char CATEGORY_START_TIME[] = "startTime";
inline constexpr char CATEGORY_STATUS[] = "status";

// Names of elements: the selection of devices in a request.
inline constexpr char NAME_CSMI_IDENTIFIERS[] = "CSMIIdentifiers";
inline constexpr char NAME_DEVICE[] = "Device";
inline constexpr char NAME_DEVICES[] = "Devices";
inline constexpr char NAME_DRIVE_ID[] = "DriveId";
inline constexpr char NAME_DRIVE_LETTER[] = "DriveLetter";
inline constexpr char NAME_INDEX[] = "Index";
inline constexpr char NAME_PATH[] = "Path";
inline constexpr char NAME_SERIAL_NUMBER[] = "SerialNumber";
inline constexpr char NAME_GENERIC[] = "Generic";
inline constexpr char NAME_BOOT_DRIVE[] = "BootDrive";

// The properties that a request asks for, or the one that it sets.
inline constexpr char NAME_PROPERTIES[] = "Properties";

}  // namespace ostrel::core::xml
