#pragma once

#include "ostrel/interfaces/cli/cliframework/CommandPart.h"

namespace cli::framework {

// The parts that commands of several features share. Inline variables, so that they are built before any static object
// further down in a file that includes this header: features and their tables are static objects.

// clang-format off
//                                                   name           req.   value               value  help                                                                    short no
//                                                                                             req.                                                                                 value
inline const CommandPart OPTION_ALL                 {"-all",         false, "",                 false, "Display all possible attributes.",                                     "-a", true};
inline const CommandPart OPTION_DISPLAY             {"-display",     false, "Property1,...",    true,  "Specify which attributes are displayed.",                              "-d", false};
inline const CommandPart OPTION_WAIT                {"-wait",        false, "",                 false, "Wait for the command to finish before returning.",                     "-w", true};
inline const CommandPart OPTION_FORCE               {"-force",       false, "",                 false, "Force the operation",                                                  "-f", true};
inline const CommandPart OPTION_SILENT              {"-silent",      false, "",                 false, "Silent operation",                                                     "-s", true};
inline const CommandPart OPTION_EXAMINE             {"-examine",     false, "",                 false, "Examine the source file",                                              "-x", true};
inline const CommandPart OPTION_SOURCE              {"-source",      false, "path",             true,  "Path to the source file.",                                             "",   false};
inline const CommandPart OPTION_SOURCE_REQUIRED     {"-source",      true,  "path",             true,  "Path to the source file.",                                             "",   false};
inline const CommandPart OPTION_DESTINATION         {"-destination", false, "path",             true,  "Path to the destination file.",                                        "",   false};
inline const CommandPart OPTION_DESTINATION_REQUIRED{"-destination", true,  "path",             true,  "Path to the destination file.",                                        "",   false};
inline const CommandPart OPTION_OUTPUT              {"-output",      false, "text|nvmxml|json", true,  "Change the output format. One of \"text\", \"nvmxml\" or \"json\".",   "-o", false};
// No value is shown, yet the parser lets one pass: FeatureBase::validate has the words for it.
inline const CommandPart OPTION_HELP                {"-help",        false, "",                 false, "Display help for the command.",                                        "-h", false};
inline const CommandPart PROPERTY_VERB              {"verb",         false, "verb",             true,  "Commands with verb to show help on.",                                  "",   false};
inline const CommandPart PROPERTY_NAME              {"Name",         false, "name",             true,  "Commands to show help on.",                                            "",   false};
// clang-format on

}  // namespace cli::framework
