#pragma once

#include <memory>
#include <string>

#include "ostrel/core/AttributeList.h"

namespace cli::framework {
class ErrorResult;
}

/// The file that keeps the settings from run to run: an XML document on one line. Read once in a run, written by
/// `set -system` and when there is none. It is never read or written through a symbolic link, and replaced as a whole,
/// so that a process that dies leaves the old file or the new one. Of two processes that write, the last one wins.
///
/// It names the library that the tool loads as root: a file that other users can change (ostrel::core::TrustedFile) is
/// not obeyed. One that cannot be read is an error and never counts as missing, or it would be replaced by defaults.
namespace cli::system {

class SystemFeature;

/// Where it is: for programs that read it and never make it. The tool goes through getConfigPath().
inline constexpr char CONFIG_PATH[] = "/opt/velko/nimbrel/nimbrel_config.xml";

/// The path of the configuration file. The first call in a process loads the file into the SystemFeature. When that
/// gives an error, its text is printed and the process ends with its code as exit status: no call returns with a
/// bad file.
const std::string& getConfigPath();

/// What the file held at that time, in no order. One reading serves a run: what another process writes meanwhile counts
/// from the next run on.
const ostrel::core::AttributeList& getConfiguration();

/// Replaces the feature's settings by those of the file; a missing or empty file is created with the settings that the
/// feature has. Null on success, and `settings` is what the file holds; otherwise nothing was changed.
std::unique_ptr<framework::ErrorResult> loadConfigFile(SystemFeature& feature, const std::string& path,
                                                       ostrel::core::AttributeList& settings);

/// The text of the file. Null on success, a missing file included, whose text is empty; otherwise why it cannot be read
/// or is not obeyed, and `text` is empty.
std::unique_ptr<framework::ErrorResult> readConfigText(const std::string& path, std::string& text);

/// The settings of a text that passes every check, otherwise null.
std::unique_ptr<ostrel::core::AttributeList> parseConfigText(const std::string& text);

/// Reads the file again before it is replaced. Ends the process when it cannot be read or is not obeyed, as
/// getConfigPath() does.
void checkConfigFile();

/// Rewrites the file. False, and the old file as it was, when that fails or when the file would not be valid.
bool writeConfigFile(const ostrel::core::AttributeList& settings, const std::string& path);

}  // namespace cli::system
