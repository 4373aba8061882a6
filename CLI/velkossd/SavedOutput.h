#pragma once

#include <string>
#include <vector>

#include "CLI/velkossd/FlowResult.h"

namespace ostrel::core::xml {
class XmlElement;
}

/// Responses that become files, one for each output object. Without a destination the file's name is made of the
/// output's name and key: "telemetry_ABC123.bin".
///
/// The result of a single output is what came of its file. Several outputs, and one whose status reports a failure, are
/// gathered: each is listed under "Success" or "Error". Why a file was not written goes to the error stream, in a line
/// of its own: docs/files.md has the reasons. Ownership: the response stays the caller's, but it is used up.
namespace cli::velkossd {

/// The exit status for a file that was not written or had no data. Not ERRORCODE_FILE_NOT_WRITTEN: scripts know this
/// one from the dump commands.
inline constexpr framework::ErrorCode ERRORCODE_NOT_SAVED = framework::ERRORCODE_OUT_OF_MEMORY;

/// The output's payload, as bytes.
FlowResult saveBinary(ostrel::core::xml::XmlElement& response, const std::string& destination);

/// The output in its text form.
FlowResult saveText(const std::vector<std::string>& hidden, ostrel::core::xml::XmlElement& response,
                    const std::string& destination);

/// Writes a whole text to a file that the user named. False when it could not be written, and the reason is on the
/// error stream.
bool writeToFile(const std::string& destination, const std::string& text);

}  // namespace cli::velkossd
