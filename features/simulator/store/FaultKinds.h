#pragma once

#include <string>
#include <vector>

namespace features::simulator {

struct Description;

/// A kind of fault: its key in the description file, which is its option of nimbrel-simdrive, too.
struct FaultKind {
    const char* key;
    const char* example;  ///< a value, as on a command line
    const char* help;
    std::string (*write)(const Description& description);  ///< its value in a description, as the file has it
};

/// All kinds, in the order in which they are shown.
std::vector<FaultKind> faultKinds();

}  // namespace features::simulator
