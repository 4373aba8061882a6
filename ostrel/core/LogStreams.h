#pragma once

namespace ostrel::core {

/// Detaches the standard stream and the memory stream and empties the latter. Null until one of the functions of these
/// streams was called: what calls none, as the feature library does, does not link them (LogCore.h).
extern void (*resetLogStreams)();

}  // namespace ostrel::core
