#pragma once

#include <cstdint>
#include <vector>

#include "features/simulator/store/TcgState.h"

namespace features::simulator {

/// What a self-encrypting drive answers to Security Receive and TRUSTED RECEIVE: the list of security protocols, and
/// TCG's Level 0 Discovery (TCG Storage Architecture Core Specification, section 3.3.6) with TPer, Locking and Opal v2.
/// Empty: it does not support that protocol, or what is asked of it.
std::vector<uint8_t> securityAnswer(uint8_t protocol, uint16_t specific, TcgState state);

}  // namespace features::simulator
