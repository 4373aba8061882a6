#pragma once

namespace cli::framework {

// Words that the framework and its features share.

inline constexpr const char* VERB_SHOW = "show";
inline constexpr const char* VERB_START = "start";
inline constexpr const char* VERB_CREATE = "create";
inline constexpr const char* VERB_DUMP = "dump";
inline constexpr const char* VERB_SET = "set";
inline constexpr const char* VERB_LOAD = "load";
inline constexpr const char* VERB_DELETE = "delete";
inline constexpr const char* VERB_HELP = "help";
inline constexpr const char* VERB_VERSION = "version";
inline constexpr const char* VERB_RESET = "reset";

// Keywords of -output.
inline constexpr const char* OUTPUT_TEXT = "text";
inline constexpr const char* OUTPUT_NVMXML = "nvmxml";
inline constexpr const char* OUTPUT_ESX = "esx";
inline constexpr const char* OUTPUT_JSON = "json";
inline constexpr const char* OUTPUT_CSV = "csv";

inline constexpr const char* SUCCESS_TEXT = "Success";
inline constexpr const char* NO_RESULTS_TEXT = "No results";

// Field names of rendered results.
inline constexpr const char* FIELD_RESULT = "Result";
inline constexpr const char* FIELD_ERROR = "Error";
inline constexpr const char* FIELD_ERROR_DESCRIPTION = "Error_Description";
inline constexpr const char* FIELD_TYPE = "Type";

// printf formats; the arguments are the kind of part and its name, or the bad value, the kind and the name.
inline constexpr char VALUE_REQUIRED_FORMAT[] = "A value is required for the %s '%s'.";
inline constexpr char BAD_VALUE_FORMAT[] = "'%s' is not a valid setting for the %s '%s'.";

}  // namespace cli::framework
