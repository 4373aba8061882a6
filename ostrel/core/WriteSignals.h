#pragma once

namespace ostrel::core {

/// From now on a write past the limit of a file's size (RLIMIT_FSIZE), and one to a pipe that is no longer read, is an
/// error of the call, EFBIG and EPIPE, and no signal that ends the process without words. Programs call it at the
/// beginning of main; a library leaves it to them. Child processes inherit it.
void ignoreWriteSignals();

}  // namespace ostrel::core
