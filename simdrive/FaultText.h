#pragma once

#include <string>
#include <utility>
#include <vector>

#include "features/simulator/store/Description.h"

namespace simdrive {

/// A fault by its key in the description file, and its value as it is there.
using Fault = std::pair<std::string, std::string>;

/// All kinds of faults, with the values that mean none.
std::vector<Fault> noFaults();
/// What is wrong with a drive.
std::vector<Fault> faultsOf(const features::simulator::Description& description);
/// A line of help for the option of each kind.
std::string faultHelp();
/// The text of a description file with one fault set. Nothing else changes: comments and order stay.
std::string withFault(const std::string& text, const Fault& fault);

}  // namespace simdrive
