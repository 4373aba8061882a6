#pragma once

namespace cli {

/// Opens /dev/null in the place of each standard stream that the caller closed. Otherwise the next file to be opened,
/// a drive perhaps, would take the free number, and messages would be written into it. Reading and writing such a
/// stream goes on failing. Call it before anything opens a file; false when /dev/null cannot be opened.
bool occupyStandardStreams();

}  // namespace cli
