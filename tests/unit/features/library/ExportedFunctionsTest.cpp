// The library as the tool has it: opened by name, used through its eight functions, closed.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "ostrel/core/AddressableSize.h"
#include "ostrel/interfaces/ostreli/interface/FeatureLibrary.h"
#include "tests/support/HiddenInstallation.h"
#include "tests/support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;

class FeatureLibrary {
public:
    FeatureLibrary() : handle_(dlopen(FEATURE_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL)) {
        if (handle_ == nullptr) throw std::runtime_error(dlerror());
        find("GetVer", getVer);
        find("RegisterDeviceManager", registerDeviceManager);
        find("Load", load);
        find("SendXMLMessage", send);
        find("ReceiveXMLMessage", receive);
        find("EnableLogger", enableLogger);
        find("SetLSIPath", setLsiPath);
        find("Unload", unload);
    }
    ~FeatureLibrary() { dlclose(handle_); }
    FeatureLibrary(const FeatureLibrary&) = delete;
    FeatureLibrary& operator=(const FeatureLibrary&) = delete;

    void start() const {
        registerDeviceManager(nullptr);
        load(1);
    }
    void* request(const std::string& text) const {
        void* handle = nullptr;
        send(text.data(), text.size(), &handle);
        return handle;
    }
    std::string answer(void* handle) const {
        uint64_t size = 0;
        EXPECT_EQ(receive(handle, nullptr, &size), FEATURE_LIBRARY_INVALID_BUFFER_SIZE);
        std::string text(ostrel::core::addressableSize(size), '?');
        EXPECT_EQ(receive(handle, text.data(), &size), FEATURE_LIBRARY_SUCCESS);
        return text;
    }
    int32_t log(const std::string& path) const { return enableLogger(path.data(), path.size(), 0, 0); }

    GetVerFunction getVer = nullptr;
    RegisterDeviceManagerFunction registerDeviceManager = nullptr;
    LoadFunction load = nullptr;
    SendXMLMessageFunction send = nullptr;
    ReceiveXMLMessageFunction receive = nullptr;
    EnableLoggerFunction enableLogger = nullptr;
    SetLSIPathFunction setLsiPath = nullptr;
    UnloadFunction unload = nullptr;

private:
    template <typename Function>
    void find(const char* name, Function& function) {
        function = reinterpret_cast<Function>(dlsym(handle_, name));
        if (function == nullptr) throw std::runtime_error(dlerror());
    }

    void* handle_;
};

// A drive that no machine has: the look for drives is made, and none is asked anything.
const std::string REQUEST =
    R"(<Object name="VelkoSSD" type="GetProperties"><Property name="Scan" value="true"/><List name="Devices">)"
    R"(<Object name="Device"><Property name="Index" value="4000000"/></Object></List></Object>)";
const std::string ANSWER =
    R"(<?xml version="1.0" encoding="utf-8"?><Object name="VelkoSSD"><Object category="status">)"
    R"(<Property name="Category" value="0"/><Property name="Code" value="4"/><Property name="Message" )"
    R"(value="Provided device index is invalid. Device could not be found."/></Object></Object>)";

/// What is open and what runs in this process: descriptors with what they lead to, and threads.
std::set<std::string> possessions() {
    std::set<std::string> found;
    for (const auto& entry : fs::directory_iterator("/proc/self/task")) found.insert("thread " + entry.path().string());
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code gone;  // the descriptor of this very listing
        const std::string target = fs::read_symlink(entry.path(), gone).string();
        if (!gone && target.find("/fd") == std::string::npos) found.insert(entry.path().string() + " " + target);
    }
    return found;
}

TEST(ExportedFunctions, ReportTheirVersion) {
    const FeatureLibrary library;
    EXPECT_EQ(library.getVer(), 30000400);
}

TEST(ExportedFunctions, AnswerOneRequestAfterTheOther) {
    const FeatureLibrary library;
    library.start();
    library.setLsiPath("/usr/lib/storelib.so", 20);
    void* const first = library.request(REQUEST);
    void* const second = library.request("no XML");
    EXPECT_EQ(library.answer(second), R"(<?xml version="1.0" encoding="utf-8"?><Object><Object category="status">)"
                                      R"(<Property name="Category" value="11"/><Property name="Code" value="2"/>)"
                                      R"(<Property name="Message" value="No input XML"/></Object></Object>)");
    EXPECT_EQ(library.answer(first), ANSWER);
    library.unload();
}

TEST(ExportedFunctions, ARequestEndsWhereItsLengthSays) {
    const FeatureLibrary library;
    library.start();
    const std::string text = REQUEST + "<<<";
    void* handle = nullptr;
    library.send(text.data(), REQUEST.size(), &handle);
    EXPECT_EQ(library.answer(handle), ANSWER);
    library.unload();
}

TEST(ExportedFunctions, UnloadForgetsAnswersAndALaterRequestIsServedAgain) {
    const FeatureLibrary library;
    library.start();
    void* const handle = library.request(REQUEST);
    library.unload();
    uint64_t size = 0;
    EXPECT_EQ(library.receive(handle, nullptr, &size), FEATURE_LIBRARY_INVALID_INPUT);
    EXPECT_EQ(library.answer(library.request(REQUEST)), ANSWER);
    library.unload();
}

TEST(ExportedFunctions, NothingIsLeftAfterUnload) {
    const TemporaryFolder folder;
    const std::set<std::string> before = possessions();
    {
        const FeatureLibrary library;
        const std::set<std::string> loaded = possessions();
        for (int i = 0; i < 20; ++i) {
            library.start();
            ASSERT_EQ(library.log(folder / "log"), FEATURE_LIBRARY_SUCCESS);
            EXPECT_EQ(library.answer(library.request(REQUEST)), ANSWER);
            EXPECT_NE(library.request(REQUEST), nullptr) << "and one that is never fetched";
            library.unload();
            ASSERT_EQ(possessions(), loaded) << "round " << i;
        }
    }
    EXPECT_EQ(possessions(), before);
}

TEST(ExportedFunctions, ALogIsContinuedAndEnds) {
    const TemporaryFolder folder;
    const FeatureLibrary library;
    library.start();
    writeWholeFile(folder / "log", "the tool's own line\n");
    EXPECT_EQ(library.log(folder / "missing/log"), FEATURE_LIBRARY_INVALID_INPUT);
    EXPECT_EQ(library.log(folder / "log"), FEATURE_LIBRARY_SUCCESS);
    EXPECT_EQ(library.answer(library.request(REQUEST)), ANSWER);
    EXPECT_EQ(library.enableLogger("", 0, 0, 1), FEATURE_LIBRARY_SUCCESS);
    const std::string text = readWholeFile(folder / "log");
    EXPECT_EQ(text.compare(0, 20, "the tool's own line\n"), 0);
    EXPECT_GT(text.size(), 20U) << "the library's lines follow";
    EXPECT_EQ(library.answer(library.request(REQUEST)), ANSWER);
    EXPECT_EQ(readWholeFile(folder / "log"), text) << "no more lines";
    library.unload();
}

}  // namespace

/// The library looks for drives where the machine has them.
int main(int count, char** arguments) {
    std::vector<char*> given(arguments, arguments + count + 1);  // InitGoogleTest() takes out what it knows
    testing::InitGoogleTest(&count, arguments);
    if (!GTEST_FLAG_GET(list_tests)) hideInstallation(given.data());  // a build lists them, for another processor too
    return RUN_ALL_TESTS();
}
