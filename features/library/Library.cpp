#include "features/library/Library.h"

#include <malloc.h>

#include <cstddef>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "features/transport/linux/LinuxDriveSource.h"
#include "features/transport/linux/LinuxSataSource.h"
#include "features/transport/simulated/SimulatedDriveSource.h"
#include "ostrel/core/AddressableSize.h"
#include "ostrel/core/Logging.h"
#include "ostrel/core/Status.h"
#include "ostrel/core/XmlConverter.h"
#include "ostrel/interfaces/ostreli/interface/FeatureLibrary.h"

namespace features::library {

using namespace ostrel::core;

namespace {

/// That of a hundred drives. Below it the pages are not worth the call.
constexpr size_t LARGE_ANSWER_BYTES = 256 << 10;

std::vector<std::unique_ptr<transport::DriveSource>> allSources() {
    std::vector<std::unique_ptr<transport::DriveSource>> sources;
    sources.push_back(std::make_unique<transport::LinuxDriveSource>());
    sources.push_back(std::make_unique<transport::LinuxSataSource>());
    sources.push_back(std::make_unique<transport::SimulatedDriveSource>());
    return sources;
}

/// A plain pointer and no static object: Unload comes from a destructor of the tool's, at a time when static objects of
/// this library that are younger than that one are gone.
Library* theLibrary = nullptr;

/// The answer to a request that ended in an exception: by the time this runs, what the request held is freed again.
std::string failureAnswer(const char* reason) {
    xml::XmlObject root;
    root.objects.push_back(XmlConverter::statusToXml(
        Status(CATEGORY_JOB, 6, std::string("The feature library could not carry out the request: ") + reason + ".")));
    return root.toXmlString();
}

}  // namespace

Library& Library::instance() {
    if (theLibrary == nullptr) theLibrary = new Library;
    return *theLibrary;
}

void Library::unload() noexcept {
    if (theLibrary == nullptr) return;
    // Not of a log that never began: that makes the logging core, for which there may be no memory.
    if (theLibrary->isLogging_) theLibrary->stopLog();
    delete theLibrary;
    theLibrary = nullptr;
}

void* Library::send(const char* text, uint64_t length) noexcept {
    const char* reason = nullptr;
    try {
        if (handler_ == nullptr) handler_ = std::make_unique<RequestHandler>(allSources(), Journal());
        Answer answer(*handler_->answer(std::string(text, addressableSize(length))));
        // The caller makes as much again of it: what the request used goes back to the system first.
        if (answer.size() >= LARGE_ANSWER_BYTES) (void)::malloc_trim(0);
        return answers_.keep(std::move(answer));
    } catch (const std::bad_alloc&) {
        reason = "out of memory";
    } catch (...) {
        reason = "an unexpected failure";
    }
    logMessage(LOGSEVERITY_FATAL, "A request ended in an exception: ", reason);
    try {
        return answers_.keep(Answer(failureAnswer(reason)));
    } catch (...) {
        // Not even that: a null handle is none of ours, and fetching its answer fails.
        return nullptr;
    }
}

int32_t Library::receive(void* handle, void* buffer, uint64_t* size) noexcept {
    return answers_.fetch(handle, buffer, size);
}

void Library::useSources(std::vector<std::unique_ptr<transport::DriveSource>> sources) {
    handler_ = std::make_unique<RequestHandler>(std::move(sources));
}

int32_t Library::startLog(const char* path, uint64_t length) noexcept {
    try {
        initLogging();
        setLogFile(std::string(path, addressableSize(length)), true);
        openLogFile();
    } catch (...) {
        return FEATURE_LIBRARY_INVALID_INPUT;
    }
    if (!isFileLogging()) return FEATURE_LIBRARY_INVALID_INPUT;
    enableLogging();
    isLogging_ = true;
    return FEATURE_LIBRARY_SUCCESS;
}

void Library::stopLog() noexcept {
    isLogging_ = false;
    disableLogging();
    closeLogFile();
}

}  // namespace features::library
