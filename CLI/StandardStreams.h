#pragma once

#include <string_view>

namespace cli {

/// Opens /dev/null in the place of each standard stream that the caller closed. Otherwise the next file to be opened,
/// a drive perhaps, would take the free number, and messages would be written into it. Reading and writing such a
/// stream goes on failing. Call it before anything opens a file; false when /dev/null cannot be opened.
bool occupyStandardStreams();

/// Writes all bytes, however many calls that takes. Returns 0 or the errno of the call that failed. Does not allocate.
int writeFully(int fileDescriptor, std::string_view bytes);

}  // namespace cli
