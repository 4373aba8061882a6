// What the feature library answers, on its way to the screen and into files. The bytes are a response; when they are
// none, they are instructions that build one, so that the code after the reader is reached by all inputs.

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "CLI/FeatureLibraryExchange.h"
#include "CLI/velkossd/JobRendering.h"
#include "CLI/velkossd/SavedOutput.h"
#include "fuzz/Require.h"
#include "ostrel/core/Status.h"
#include "ostrel/core/XmlConverter.h"
#include "ostrel/interfaces/cli/cliframework/ObjectResult.h"

namespace {

using cli::framework::ObjectResult;
using ostrel::core::XmlConverter;
using ostrel::core::xml::XmlElement;
using ostrel::core::xml::XmlObject;
using ostrel::core::xml::XmlProperty;

const std::vector<std::string> HIDDEN = {"VendorUniqueIdentifyPayload"};

/// A folder of the process's own inside another one that must hold nothing else; the current one while an input is
/// tried.
class Scratch {
public:
    Scratch() {
        outer_ = (std::filesystem::exists("/dev/shm") ? "/dev/shm" : std::filesystem::temp_directory_path().string()) +
                 "/nimbrel-fuzz-" + std::to_string(getpid());
        std::filesystem::create_directories(outer_ + "/inner");
    }
    ~Scratch() { std::filesystem::remove_all(outer_); }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    void enter() const { std::filesystem::current_path(outer_ + "/inner"); }
    void leave() const {
        REQUIRE(namesIn(outer_) == std::set<std::string>{"inner"});
        std::filesystem::current_path(home_);
    }

    /// The files there are now, which are removed with it.
    std::set<std::string> takeFiles() {
        const std::set<std::string> names = namesIn(".");
        for (const std::string& name : names) std::filesystem::remove(name);
        return names;
    }

private:
    static std::set<std::string> namesIn(const std::string& folder) {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder)) names.insert(entry.path().filename());
        return names;
    }

    const std::string home_ = std::filesystem::current_path();
    std::string outer_;
};

/// A process renders once: the indent that one rendering leaves must not pile up here.
struct SharedIndent : ObjectResult {
    using ObjectResult::s_tab;
};

/// Builds a response from bytes: each says what comes next, and words are picked or taken as they come.
class Builder {
public:
    explicit Builder(std::string_view bytes) : bytes_(bytes) {}

    std::unique_ptr<XmlElement> build() {
        auto root = std::make_unique<XmlObject>();
        while (!bytes_.empty() && root->objects.size() < 8) root->objects.push_back(buildObject(0));
        return root;
    }

private:
    static constexpr std::array WORDS = {"",
                                         "Output",
                                         "output",
                                         "status",
                                         "STATUS",
                                         "attributeList",
                                         "attribute",
                                         "payload",
                                         "Payload",
                                         "Message",
                                         "Code",
                                         "0",
                                         "256",
                                         "Status",
                                         "name",
                                         "string",
                                         "uint64",
                                         "bytepointer",
                                         "00ff",
                                         "0",
                                         "VendorUniqueIdentifyPayload",
                                         "HealthScanStatusCode",
                                         "boolean",
                                         "hexValue"};

    unsigned take() {
        if (bytes_.empty()) return 0;
        const auto byte = static_cast<unsigned char>(bytes_.front());
        bytes_.remove_prefix(1);
        return byte;
    }
    std::string takeText() {
        const unsigned choice = take();
        if (choice < 128) return WORDS[choice % WORDS.size()];
        const std::string text(bytes_.substr(0, choice % 32));
        bytes_.remove_prefix(text.size());
        return text;
    }
    void buildAttributes(XmlElement& element) {
        const unsigned which = take();
        unsigned bit = 1;
        for (const char* key : {"category", "name", "key", "value", "description", "type"}) {
            if ((which & bit) != 0) element.attributes[key] = takeText();
            bit *= 2;
        }
    }
    std::unique_ptr<XmlObject> buildObject(int depth) {
        auto object = std::make_unique<XmlObject>();
        buildAttributes(*object);
        for (unsigned next = take() % 4; next != 0; next = take() % 4) {
            if (next == 1 && depth < 20) {
                object->objects.push_back(buildObject(depth + 1));
            } else {
                object->properties.push_back(std::make_unique<XmlProperty>());
                buildAttributes(*object->properties.back());
            }
        }
        return object;
    }

    std::string_view bytes_;
};

std::unique_ptr<XmlElement> makeResponse(const std::string& text) {
    auto response = XmlConverter::toXml(text);
    return response != nullptr ? std::move(response) : Builder(text).build();
}

// What must come of a response, as plainly as the rules are written.

std::string lower(std::string text) {
    for (char& c : text)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return text;
}

std::string cleaned(std::string text) {
    for (char& c : text)
        if (const auto byte = static_cast<unsigned char>(c); c == '/' || byte == 0x7F || byte < 0x20) c = '_';
    return text;
}

std::vector<const XmlObject*> goodOutputs(XmlElement& response) {
    std::vector<const XmlObject*> outputs;
    for (const XmlObject* output : cli::velkossd::findOutputs(response)) {
        ostrel::core::Status status;
        if (cli::extractStatus(*output, status) == nullptr) outputs.push_back(output);
    }
    return outputs;
}

const XmlProperty* payloadOf(const XmlObject& output) {
    for (const auto& property : output.properties)
        if (lower(property->getAttribute("name")) == "payload") return property.get();
    return nullptr;
}

/// The files that outputs leave in the folder. A name of more than 255 bytes is none that a file can have.
std::set<std::string> filesOf(const std::vector<const XmlObject*>& outputs, const std::string& destination,
                              const std::string& suffix) {
    std::set<std::string> files;
    for (const XmlObject* output : outputs) {
        const std::string name = cleaned(output->getAttribute("name")) + "_" + cleaned(output->getAttribute("key"));
        files.insert(destination.empty() ? name + suffix : destination);
    }
    for (auto file = files.begin(); file != files.end();) file = file->size() > 255 ? files.erase(file) : ++file;
    return files;
}

void renderInAllForms(ObjectResult& result) {
    for (unsigned type = 0; type < 6; ++type) {
        result.setOutputType(static_cast<cli::framework::OutputType>(type));
        (void)result.output();
    }
}

void checkRendering(XmlElement& response) {
    const auto result = cli::velkossd::render(HIDDEN, response);
    REQUIRE(result != nullptr);
    REQUIRE(result->getErrorCode() >= 0);
    renderInAllForms(*result);
}

using Outputs = std::vector<const XmlObject*>;

void checkBinary(Scratch& scratch, XmlElement& response, Outputs outputs, const std::string& destination) {
    const auto hasNoPayload = [](const XmlObject* output) { return payloadOf(*output) == nullptr; };
    outputs.erase(std::remove_if(outputs.begin(), outputs.end(), hasNoPayload), outputs.end());
    const std::set<std::string> expected = filesOf(outputs, destination, ".bin");
    std::uintmax_t lastSize = 0;
    if (!outputs.empty()) {
        const std::size_t digits = payloadOf(*outputs.back())->getAttribute("value").size();
        lastSize = digits % 2 == 0 ? digits / 2 : 0;
    }
    const auto result = cli::velkossd::saveBinary(response, destination);
    REQUIRE(result != nullptr);
    (void)result->outputText();
    if (!destination.empty() && !outputs.empty()) REQUIRE(std::filesystem::file_size(destination) == lastSize);
    REQUIRE(scratch.takeFiles() == expected);
}

void checkText(Scratch& scratch, XmlElement& response, const Outputs& outputs, const std::string& destination) {
    const std::set<std::string> expected = filesOf(outputs, destination, ".txt");
    const auto result = cli::velkossd::saveText(HIDDEN, response, destination);
    REQUIRE(result != nullptr);
    (void)result->outputText();
    REQUIRE(scratch.takeFiles() == expected);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Scratch scratch;
    scratch.enter();
    ObjectResult::setTab(true);
    SharedIndent::s_tab.clear();
    // One tree for all: to read it takes longer than everything else. What a rendering hides is gone from it, so that
    // one comes last.
    const auto response = makeResponse({reinterpret_cast<const char*>(data), size});
    const Outputs outputs = goodOutputs(*response);
    for (const char* destination : {"", "file"}) checkBinary(scratch, *response, outputs, destination);
    for (const char* destination : {"", "file"}) checkText(scratch, *response, outputs, destination);
    checkRendering(*response);
    scratch.leave();
    return 0;
}
