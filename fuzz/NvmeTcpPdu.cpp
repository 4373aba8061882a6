#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz/Require.h"
#include "simdrive/tcp/Pdu.h"

namespace {

using namespace simdrive::tcp;

bool isInside(const uint8_t* part, size_t length, const std::vector<uint8_t>& whole) {
    const uint8_t* end = whole.data() + whole.size();
    return part >= whole.data() && part <= end && length <= static_cast<size_t>(end - part);
}

}  // namespace

/// The first byte is what both sides agreed on; the rest is what comes from a host.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const Framing framing{(data[0] & 1) != 0, (data[0] & 2) != 0, 0};
    const std::vector<uint8_t> stream(data + 1, data + size);
    Pdu pdu;
    ProtocolError error;
    const Parse parse = parsePdu(stream.data(), stream.size(), framing, pdu, error);
    if (parse == Parse::COMPLETE) {
        REQUIRE(pdu.totalBytes >= pdu.headerBytes && pdu.totalBytes <= MAX_PDU_BYTES);
        REQUIRE(isInside(pdu.header, pdu.headerBytes, stream));
        REQUIRE(isInside(pdu.data, pdu.dataBytes, stream));
        REQUIRE(pdu.data >= pdu.header + pdu.headerBytes || pdu.dataBytes == 0);
    }
    if (parse == Parse::ERROR) REQUIRE(error.fatalError != 0);
    if (parse == Parse::INCOMPLETE) REQUIRE(stream.size() < MAX_PDU_BYTES);
    // What has come decides once and for all: fewer bytes are either the same error or not enough.
    const std::vector<uint8_t> head(stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(stream.size() / 2));
    Pdu part;
    ProtocolError partError;
    const Parse early = parsePdu(head.data(), head.size(), framing, part, partError);
    if (early == Parse::COMPLETE) REQUIRE(parse == Parse::COMPLETE && part.totalBytes == pdu.totalBytes);
    if (early == Parse::ERROR) {
        REQUIRE(parse == Parse::ERROR && partError.fatalError == error.fatalError &&
                partError.information == error.information);
    }
    return 0;
}
