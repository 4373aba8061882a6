// The library's exported functions, in any order and from several threads. The first byte says how many threads there
// are; then each pair of bytes is a call: who makes it and which function, and its argument. No request looks for
// drives: none of the machine is touched.
#include <algorithm>
#include <atomic>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "fuzz/Require.h"
#include "fuzz/ScratchFolder.h"
#include "ostrel/core/AddressableSize.h"
#include "ostrel/core/XmlConverter.h"
#include "ostrel/core/xml/XmlConstants.h"
#include "ostrel/core/xml/XmlObject.h"
#include "ostrel/interfaces/ostreli/interface/FeatureLibrary.h"

namespace {

using namespace ostrel::core;

constexpr size_t MAX_THREADS = 4;
constexpr size_t MAX_CALLS = 64;

constexpr std::string_view REQUESTS[] = {
    "",
    "nothing",
    "<Object",
    R"(<Object name="NoSuchJob" type="Method"/>)",
    R"(<Object name="VelkoSSD" type="GetProperties"/>)",
    R"(<Object name="VelkoSSD" type="NoSuchType"/>)",
    R"(<Object name="SMART" type="GetProperties"><Property name="Scan" value="false"/></Object>)",
    R"(<Object name="PersistentEventLogParse" type="Method"><Property name="SourceFile" value="/dev/null"/></Object>)",
    R"(<Object name="Format" type="Method"/>)",
};

const ScratchFolder& scratch() {
    static const ScratchFolder folder;
    return folder;
}

/// The handles that were given out, for all threads to fetch.
class Handles {
public:
    void add(void* handle) {
        const std::lock_guard<std::mutex> lock(mutex_);
        handles_.push_back(handle);
    }
    /// A number where none was given out yet.
    void* pick(uint8_t which) {
        const std::lock_guard<std::mutex> lock(mutex_);
        return handles_.empty() ? reinterpret_cast<void*>(uintptr_t{which}) : handles_[which % handles_.size()];
    }

private:
    std::mutex mutex_;
    std::vector<void*> handles_;
};

struct Call {
    uint8_t function;
    uint8_t argument;
};

void checkAnswer(const std::string& text) {
    const auto element = XmlConverter::toXml(text);
    const auto* root = dynamic_cast<const xml::XmlObject*>(element.get());
    REQUIRE(root != nullptr && !root->objects.empty());
    REQUIRE(root->objects.front()->getAttribute(xml::KEY_CATEGORY) == xml::CATEGORY_STATUS);
}

void send(Handles& handles, uint8_t which) {
    const std::string request(REQUESTS[which % std::size(REQUESTS)]);
    void* handle = nullptr;
    SendXMLMessage(request.data(), request.size(), &handle);
    REQUIRE(handle != nullptr);
    handles.add(handle);
}

/// Another thread may fetch the answer first, and Unload forgets it.
void receive(Handles& handles, uint8_t which) {
    void* handle = handles.pick(which);
    uint64_t size = 0;
    const int32_t asked = ReceiveXMLMessage(handle, nullptr, &size);
    if (asked == FEATURE_LIBRARY_INVALID_INPUT) return;
    REQUIRE(asked == FEATURE_LIBRARY_INVALID_BUFFER_SIZE && size != 0);
    constexpr char UNTOUCHED = '\x7F';
    constexpr size_t BEYOND = 16;
    std::string buffer(addressableSize(size) + BEYOND, UNTOUCHED);
    const uint64_t room = which >= 0x80 ? size / 2 : size;
    uint64_t given = room;
    const int32_t fetched = ReceiveXMLMessage(handle, buffer.data(), &given);
    REQUIRE(std::all_of(buffer.begin() + static_cast<std::ptrdiff_t>(room), buffer.end(),
                        [](char c) { return c == UNTOUCHED; }));
    if (fetched == FEATURE_LIBRARY_SUCCESS) {
        REQUIRE(given <= room);
        buffer.resize(static_cast<size_t>(given));
        checkAnswer(buffer);
    } else {
        REQUIRE(fetched == FEATURE_LIBRARY_INVALID_INPUT || fetched == FEATURE_LIBRARY_INVALID_BUFFER_SIZE);
    }
}

void enableLogger(uint8_t which) {
    const std::string good = scratch() / "log";
    const std::string bad = scratch() / "no/such/folder";
    if (which % 4 == 0) REQUIRE(EnableLogger(bad.data(), bad.size(), 0, 0) == FEATURE_LIBRARY_INVALID_INPUT);
    if (which % 4 == 1) REQUIRE(EnableLogger("", 0, 0, 1) == FEATURE_LIBRARY_SUCCESS);
    if (which % 4 > 1) REQUIRE(EnableLogger(good.data(), good.size(), 0, 0) == FEATURE_LIBRARY_SUCCESS);
}

void make(const Call& call, Handles& handles) {
    switch (call.function % 10) {
        case 0:
            REQUIRE(GetVer() == FEATURE_LIBRARY_VERSION);
            break;
        case 1:
            RegisterDeviceManager(nullptr);
            break;
        case 2:
            Load(call.argument);
            break;
        case 3:
            enableLogger(call.argument);
            break;
        case 4:
            SetLSIPath("/opt", call.argument % 5);
            break;
        case 5:
            Unload();
            break;
        case 6:
        case 7:
            receive(handles, call.argument);
            break;
        default:
            send(handles, call.argument);
    }
}

/// Every line is whole: it begins with the time and ends.
void checkLog() {
    std::ifstream file(scratch() / "log", std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    REQUIRE(text.empty() || text.back() == '\n');
    for (size_t at = 0; at < text.size(); at = text.find('\n', at) + 1)
        REQUIRE(text.size() - at > 8 && text[at + 2] == ':' && text[at + 5] == ':');
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const size_t count = data[0] % MAX_THREADS + 1;
    std::vector<std::vector<Call>> calls(count);
    for (size_t at = 1; at + 1 < size && at < 2 * MAX_CALLS; at += 2) {
        const auto function = static_cast<uint8_t>(data[at] / MAX_THREADS);
        calls[data[at] % count].push_back({function, data[at + 1]});
    }
    Handles handles;
    std::vector<std::thread> threads;
    std::atomic<size_t> waiting{count};  // the first one would be done before the last one begins
    for (size_t i = 0; i < count; ++i) {
        threads.emplace_back([&, i] {
            --waiting;
            while (waiting != 0) std::this_thread::yield();
            for (const Call& call : calls[i]) make(call, handles);
        });
    }
    for (std::thread& thread : threads) thread.join();
    Unload();
    checkLog();
    scratch().clear();
    return 0;
}
