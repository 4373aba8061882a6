#pragma once

#include <boost/property_tree/ptree_fwd.hpp>

#include <memory>
#include <string>
#include <string_view>

#include "ostrel/core/Status.h"

/// Files by their paths. Failures are statuses of CATEGORY_OS with errno and a message that names the path.
namespace ostrel::core {

class FileDescriptor;

/// Anything at all, links followed: a dangling link does not exist. False also when it cannot be determined.
bool pathExists(const std::string& path);
/// Links followed.
bool isDirectory(const std::string& path);
/// The path itself, wherever it points to.
bool isSymbolicLink(const std::string& path);

/// What to do when a path is a symbolic link. Only its last component counts.
enum class SymbolicLink { FOLLOW, REFUSE };

/// Reads a whole file. A refused link is ELOOP, without a moment between test and opening. `text` changes only on
/// success.
Status readFile(const std::string& path, SymbolicLink link, std::string& text);
/// The same for a file that is open; `path` is for the message.
Status readFile(const FileDescriptor& file, const std::string& path, std::string& text);

/// Puts `text` in place of the file, or creates it (mode 0644 less the umask). A process that reads the path at any
/// instant, also after a crash, finds the old file or the new one, whole; a failure leaves the old one. Mode and owner
/// are kept. Only a regular file is replaced: a symbolic link is ELOOP, a directory EISDIR, anything else EINVAL.
///
/// The text is written to a file in the same directory, synced and renamed. The file has no name until it is complete
/// where the file system can do that; elsewhere a killed process can leave a ".nimbrel-*" file.
/// An error after the renaming, of the directory's sync, is reported although readers see the new file.
Status writeFileAtomically(const std::string& path, std::string_view text);

/// The tree of an XML or a JSON file. Null, and the reason in the debug log, when it cannot be read or parsed; an XML
/// file also when its elements nest deeper than xml::MAX_NESTING.
std::unique_ptr<boost::property_tree::ptree> readXml(const std::string& path);
std::unique_ptr<boost::property_tree::ptree> readJson(const std::string& path);

}  // namespace ostrel::core
