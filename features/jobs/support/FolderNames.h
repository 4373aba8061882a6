#pragma once

#include <string>
#include <system_error>
#include <vector>

namespace features::jobs {

/// The names in a folder that have an extension (".json"), sorted; whatever they are of, links included. At most
/// `maxNames`. Of a folder that cannot be read `error` is set, and what is returned is not all.
std::vector<std::string> folderNames(const std::string& folder, const std::string& extension, size_t maxNames,
                                     std::error_code& error);

}  // namespace features::jobs
