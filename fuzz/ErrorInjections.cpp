// The list of error injections, as the command line has it and as a file. The first byte chooses the form.
#include <cerrno>
#include <cstdint>
#include <string>
#include <vector>

#include "features/jobs/settings/ErrorInjectionList.h"
#include "features/nvme/Bytes.h"
#include "fuzz/Require.h"
#include "fuzz/ScratchFolder.h"

namespace {

using namespace features::jobs;
using ostrel::core::Status;

const ScratchFolder& scratch() {
    static const ScratchFolder folder;
    return folder;
}

features::Result<std::vector<ErrorInjection>> readFile(const std::string& text) {
    scratch().write("list.xml", text);
    return readErrorInjectionFile(scratch() / "list.xml");
}

const char* repeatOf(const ErrorInjection& entry) {
    if (!entry.enabled) return "off";
    return entry.once ? "once" : "always";
}

bool isSame(const std::vector<ErrorInjection>& a, const std::vector<ErrorInjection>& b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i) {
        if (a[i].type != b[i].type || a[i].enabled != b[i].enabled || a[i].once != b[i].once ||
            a[i].reads != b[i].reads)
            return false;
    }
    return true;
}

/// One list in its two forms.
std::string asList(const std::vector<ErrorInjection>& entries) {
    std::string list;
    for (const ErrorInjection& entry : entries) {
        list += (list.empty() ? "" : "~") + std::to_string(entry.type) + ":" + repeatOf(entry) + ":" +
                std::to_string(entry.reads);
    }
    return list.empty() ? "none" : list;
}
std::string asFile(const std::vector<ErrorInjection>& entries) {
    std::string file = "<ErrorInjections>";
    for (const ErrorInjection& entry : entries) {
        file += "<ErrorInjection type=\"" + std::to_string(entry.type) + "\" repeat=\"" + repeatOf(entry) +
                "\" reads=\"" + std::to_string(entry.reads) + "\"/>";
    }
    return file + "</ErrorInjections>";
}

/// The bytes for the drive hold the entries, and nothing else.
void checkData(const std::vector<ErrorInjection>& entries) {
    constexpr size_t ENTRY_BYTES = 32;
    const auto data = errorInjectionData(entries);
    REQUIRE(data.getSize() == ERROR_INJECTION_DATA_BYTES);
    const uint8_t* bytes = data.getData();
    for (size_t at = 0; at < ERROR_INJECTION_DATA_BYTES; ++at) {
        const size_t which = at / ENTRY_BYTES;
        uint8_t expected = 0;
        if (which < entries.size()) {
            const ErrorInjection& entry = entries[which];
            const uint8_t head[] = {static_cast<uint8_t>((entry.enabled ? 1 : 0) + (entry.once ? 2 : 0)),
                                    0,
                                    static_cast<uint8_t>(entry.type),
                                    static_cast<uint8_t>(entry.type >> 8),
                                    static_cast<uint8_t>(entry.reads),
                                    static_cast<uint8_t>(entry.reads >> 8)};
            if (at % ENTRY_BYTES < sizeof head) expected = head[at % ENTRY_BYTES];
        }
        REQUIRE(bytes[at] == expected);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const bool isFile = (data[0] & 1) != 0;
    const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    const auto entries = isFile ? readFile(text) : readErrorInjections(text);
    if (!entries) {
        const Status& status = entries.error();
        REQUIRE(status.is(10, 252) || status.is(10, 253) || (isFile && status.is(10, 54)));
        REQUIRE(!status.getMessage().empty());
        return 0;
    }
    REQUIRE(entries->size() <= MAX_ERROR_INJECTIONS);
    for (const ErrorInjection& entry : *entries) REQUIRE(entry.type != 0);
    checkData(*entries);
    const auto asText = readErrorInjections(asList(*entries));
    REQUIRE(asText && isSame(*entries, *asText));
    const auto asXml = readFile(asFile(*entries));
    REQUIRE(asXml && isSame(*entries, *asXml));
    return 0;
}
