#pragma once

namespace cli::version {

// What the tool says of itself. The version is also written into the debug log at the start of every run, and the
// build takes that of packages and manual pages from here.
inline constexpr char TOOL_VERSION[] = "2.2.18";
inline constexpr char TOOL_DISPLAY_NAME[] = "Velko(R) Nimbrel Tool";
inline constexpr char TOOL_DESCRIPTION[] = "Interact and configure Velko SSDs.";

}  // namespace cli::version
