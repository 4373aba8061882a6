#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "features/transport/HostCommand.h"
#include "ostrel/core/Device.h"
#include "ostrel/core/Status.h"

namespace fakedrive {

/// A drive with one namespace of 512 byte blocks (NSID 1) that answers Identify, the SMART / Health log, the host's
/// questions and any number of Read commands at once, in no script. It counts how often each block was asked for alone
/// and in larger commands, and how many commands were in flight.
///
/// Threads: any number; the counts are read when no command is under way.
class MediaDrive {
public:
    explicit MediaDrive(size_t blocks);
    MediaDrive(const MediaDrive&) = delete;
    MediaDrive& operator=(const MediaDrive&) = delete;

    const std::shared_ptr<ostrel::core::Device>& device() const { return device_; }

    /// Blocks with an Unrecovered Read Error.
    std::set<uint64_t> unreadable;
    /// A transport error at a command that reaches this block.
    uint64_t breaksAt = UINT64_MAX;
    /// What the system takes at a time: more is EINVAL.
    uint32_t maxBlocks = UINT32_MAX;
    /// The first commands wait for each other until so many are in flight, or this time is over.
    unsigned gathers = 0;
    unsigned gatherMs = 2000;
    uint8_t criticalWarning = 0;
    std::vector<features::transport::HostNamespace> namespaces;

    /// How often each block was read.
    std::vector<unsigned> blocksRead() const;
    unsigned maxInFlight() const;

private:
    class Path;
    struct State;

    std::shared_ptr<State> state_;
    std::shared_ptr<ostrel::core::Device> device_;
};

}  // namespace fakedrive
