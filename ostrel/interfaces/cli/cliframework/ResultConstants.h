#pragma once

namespace cli::framework {

// The words of the rendered results; those that features use too are in Constants.h.

// The XML of the ESX command shell. No tag carries a line break: an esx document is one unbroken line.
inline constexpr char ESX_HEAD[] =
    "<?xml version=\"1.0\"?><output xmlns=\"http://www.vmware.com/Products/ESX/5.0/esxcli/\">";
inline constexpr char ESX_TAIL[] = "</output>";
inline constexpr char ESX_STRUCTURE_LIST_OPEN[] = "<list type=\"structure\">";
inline constexpr char ESX_LIST_CLOSE[] = "</list>";
inline constexpr char ESX_STRING_OPEN[] = "<string>";
inline constexpr char ESX_STRING_CLOSE[] = "</string>";
inline constexpr char ESX_KEY_VALUE_OPEN[] = "<structure typeName=\"KeyValue\">";
inline constexpr char ESX_NAMED_STRUCTURE_FORMAT[] = "<structure typeName=\"%s\">";
inline constexpr char ESX_STRUCTURE_CLOSE[] = "</structure>";
inline constexpr char ESX_KEY_FIELD_OPEN[] = "<field name=\"Attribute Name\">";
inline constexpr char ESX_VALUE_FIELD_OPEN[] = "<field name=\"Value\">";
inline constexpr char ESX_NAMED_FIELD_FORMAT[] = "<field name=\"%s\">";
inline constexpr char ESX_FIELD_CLOSE[] = "</field>";

inline constexpr char JSON_TRUE[] = "true";
inline constexpr char JSON_FALSE[] = "false";

// Appended to the root of a list to make its XML tag.
inline constexpr char LIST_SUFFIX[] = "List";

// Help pages.
inline constexpr char HELP_USAGE[] = "Usage";
inline constexpr char HELP_USAGE_LINE[] = "<verb>[<options>][<targets>][<properties>]";
inline constexpr char HELP_COMMANDS[] = "Commands";
inline constexpr char HELP_NAME[] = "Name";
inline constexpr char HELP_DESCRIPTION[] = "Description";
inline constexpr char HELP_SYNOPSIS[] = "Synopsis";
inline constexpr char HELP_VERB[] = "Verb";
inline constexpr char HELP_OPTIONS[] = "Options";
inline constexpr char HELP_OPTION[] = "Option";
inline constexpr char HELP_TARGETS[] = "Targets";
inline constexpr char HELP_TARGET[] = "Target";
inline constexpr char HELP_PROPERTIES[] = "Properties";
inline constexpr char HELP_PROPERTY[] = "Property";
inline constexpr char HELP_REQUIRED[] = "Required";
inline constexpr char HELP_VALUE[] = "Value";
inline constexpr char HELP_VALUE_REQUIRED[] = "ValueRequired";
inline constexpr char HELP_TRUE[] = "True";
inline constexpr char HELP_FALSE[] = "False";
inline constexpr char HELP_HELP[] = "Help";
inline constexpr char HELP_COMMAND[] = "Command";
inline constexpr char HELP_NO_COMMANDS[] = "No commands to display";

}  // namespace cli::framework
