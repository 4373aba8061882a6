#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// The head of a descriptor of CNS 03h, NVMe Base Specification 1.4, section 5.15.2.4; the identifier follows.
struct NamespaceIdentificationDescriptor {
    uint8_t nidt;  ///< type
    uint8_t nidl;  ///< bytes of the identifier
    ByteArray<2> reserved2;
};
static_assert(sizeof(NamespaceIdentificationDescriptor) == 4 && alignof(NamespaceIdentificationDescriptor) == 1);
static_assert(offsetof(NamespaceIdentificationDescriptor, nidl) == 1);

}  // namespace features::nvme
