#pragma once

#include "features/simulator/store/CapturedAnswers.h"

namespace simdrive {

/// Replaces what identifies the drive and its host: serial numbers, EUI-64s, NGUIDs, UUIDs of namespaces, the world
/// wide name, the NQN of the subsystem after its owner, and host identifiers, wherever they are in the capture, also as
/// text and in the other byte order. Equal ones become equal ones of the same form, by a random key that is not kept:
/// they cannot be found out by trying. Checksums are made right.
///
/// What a maker has in its own pages under a form of its own stays.
void mask(features::simulator::CapturedAnswers& capture);

}  // namespace simdrive
