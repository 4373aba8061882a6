#pragma once

#include <memory>
#include <string>

#include "ostrel/core/AttributeList.h"

namespace cli::framework {
class ErrorResult;
}

/// The file that keeps the settings from run to run: an XML document on one line. Read at every run, written by
/// `set -system` and when there is none. It is never read or written through a symbolic link, and replaced as a whole,
/// so that a process that dies leaves the old file or the new one. Of two processes that write, the last one wins.
///
/// It names the library that the tool loads as root: a file that other users can change (ostrel::core::TrustedFile) is
/// not obeyed. One that cannot be read is an error and never counts as missing, or it would be replaced by defaults.
namespace cli::system {

class SystemFeature;

/// The tool's directory, with "/" at its end: the configuration file and what an installation brings.
inline constexpr char TOOL_DIRECTORY[] = "/opt/velko/nimbrel/";

/// The path of the configuration file. The first call in a process loads the file into the SystemFeature. When that
/// gives an error, its text is printed and the process ends with its code as exit status: no call returns with a
/// bad file.
const std::string& getConfigPath();

/// Replaces the feature's settings by those of the file; a missing or empty file is created with the settings that the
/// feature has. Null on success; otherwise nothing was changed.
std::unique_ptr<framework::ErrorResult> loadConfigFile(SystemFeature& feature, const std::string& path);

/// What the file holds now, without a check and in no order. Null when it is missing or empty or holds no XML object.
/// Ends the process when the file cannot be read, as getConfigPath() does.
std::unique_ptr<ostrel::core::AttributeList> readConfigFile();

/// The text of the file, empty when it is missing. Ends the process as above.
std::string readConfigText();
/// The same for any path. Null on success, a missing file included; otherwise why it cannot be read or is not obeyed,
/// and `text` is empty.
std::unique_ptr<framework::ErrorResult> readConfigText(const std::string& path, std::string& text);
/// What a text from such a file holds; null as for readConfigFile(). Main thread only: it knows the last text.
std::unique_ptr<ostrel::core::AttributeList> parseConfigText(const std::string& text);

/// Rewrites the file. False, and the old file as it was, when that fails or when the file would not be valid.
bool writeConfigFile(const ostrel::core::AttributeList& settings, const std::string& path);

}  // namespace cli::system
