#pragma once

#include "features/simulator/store/Archive.h"
#include "features/simulator/store/DriveState.h"

namespace features::simulator {

/// Records that lie in DriveState::extensions under the NAME of their type. What was never written has its defaults,
/// and so has what cannot be read: the state's checksum has vouched for the bytes, so that they are of an older
/// program.
template <class Record>
Record readExtension(const DriveState& state) {
    Record record;
    const auto bytes = state.extensions.find(Record::NAME);
    if (bytes == state.extensions.end()) return record;
    ArchiveReader reader(bytes->second.data(), bytes->second.size());
    record.fields(reader);
    return reader.isDamaged() ? Record() : record;
}

template <class Record>
void writeExtension(DriveState& state, Record& record) {
    ArchiveWriter writer;
    record.fields(writer);
    state.extensions[Record::NAME] = writer.take();
}

}  // namespace features::simulator
