#include "features/jobs/inventory/UseText.h"

namespace features::jobs {

std::string useText(const transport::NamespaceUse& use) {
    using Kind = transport::NamespaceUse::Kind;
    switch (use.kind) {
        case Kind::PARTITION:
            return "partition";
        case Kind::MOUNTED:
            return "mounted at " + use.detail;
        case Kind::SWAP:
            return "swap";
        case Kind::HELD:
            return "part of " + use.detail;
        case Kind::OPENED:
            return "opened exclusively by another program";
        case Kind::UNKNOWN:
            return "unknown: " + use.detail;
        case Kind::CONTENT:
            return use.detail;
        case Kind::UNREADABLE:
            return "unreadable: " + use.detail;
    }
    return "unknown";
}

}  // namespace features::jobs
