#include "features/simulator/store/CaptureFolder.h"

#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <limits>
#include <set>
#include <string_view>

#include "features/simulator/store/OwnFiles.h"
#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/SystemError.h"

namespace features::simulator {

using namespace ostrel::core;
using nlohmann::json;

namespace {

constexpr const char* FORMAT = "nimbrel-capture";
constexpr unsigned VERSION = 1;
constexpr size_t MAX_LIST_BYTES = size_t{4} << 20;
constexpr size_t FIELDS = 4;

Status wrong(const std::string& path, const std::string& how) {
    return Status(CATEGORY_OS, EINVAL, path + " is not a capture: " + how + ".");
}

std::string dataName(size_t number) {
    char name[32];
    (void)std::snprintf(name, sizeof name, "%s-%04zu.bin", CAPTURE_PREFIX, number);  // it fits
    return name;
}

/// An unsigned number of an object; empty: it is missing, something else, or too large.
std::optional<uint64_t> numberOf(const json& object, const char* key, uint64_t max) {
    const auto found = object.find(key);
    if (found == object.end() || !found->is_number_unsigned()) return std::nullopt;
    const auto number = found->get<uint64_t>();
    return number <= max ? std::optional(number) : std::nullopt;
}

std::string textOf(const json& object, const char* key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

std::optional<CapturedCommand> commandOf(const json& entry) {
    const auto opcode = numberOf(entry, "opcode", UINT8_MAX);
    const auto fields = entry.find("fields");
    if (!opcode || fields == entry.end() || !fields->is_array() || fields->size() != FIELDS) return std::nullopt;
    CapturedCommand command;
    command.opcode = static_cast<uint8_t>(*opcode);
    for (size_t i = 0; i < FIELDS; ++i) {
        const json& field = (*fields)[i];
        if (!field.is_number_unsigned() || field.get<uint64_t>() > UINT32_MAX) return std::nullopt;
        command.fields[i] = field.get<uint32_t>();
    }
    return command;
}

/// Reads the list and the files that it names.
class Reader {
public:
    Reader(int folder, const std::string& path) : folder_(folder), path_(path) {}

    Result<CapturedAnswers> read() {
        const std::string list = path_ + "/" + FILE_CAPTURE;
        TRY(const OwnFile file, openOwnFile(folder_, FILE_CAPTURE, list));
        TRY(const std::string text, readOwnFile(file, list, MAX_LIST_BYTES));
        const json tree = json::parse(text, nullptr, false);
        if (!tree.is_object() || textOf(tree, "format") != FORMAT) return wrong(list, "it lacks the format's name");
        if (numberOf(tree, "version", VERSION).value_or(0) != VERSION) return wrong(list, "its version is unknown");
        const std::string drive = textOf(tree, "drive");
        if (drive != "nvme" && drive != "sata") return wrong(list, "\"drive\" is neither nvme nor sata");
        capture_.isSata = drive == "sata";
        const auto masked = tree.find("masked");
        capture_.isMasked = masked != tree.end() && masked->is_boolean() && masked->get<bool>();
        const auto answers = tree.find("answers");
        if (answers == tree.end() || !answers->is_array()) return wrong(list, "it has no list of answers");
        if (answers->size() > CapturedAnswers::MAX_ANSWERS) return wrong(list, "it has too many answers");
        for (const json& entry : *answers) RETURN_IF_FAILED(add(entry));
        return std::move(capture_);
    }

private:
    Status add(const json& entry) {
        const std::string where = "answer " + std::to_string(++number_);
        if (!entry.is_object()) return wrong(path_, where + " is no object");
        const auto command = commandOf(entry);
        const auto status = numberOf(entry, "status", UINT16_MAX);
        const auto result = numberOf(entry, "result", std::numeric_limits<uint64_t>::max());
        if (!command || !status || !result) return wrong(path_, where + " lacks a field");
        CapturedAnswer answer;
        answer.status = static_cast<uint16_t>(*status);
        answer.result = *result;
        const auto name = entry.find("file");
        if (name != entry.end()) {
            // The list says which files there are; their names follow from their places in it.
            if (!name->is_string() || name->get<std::string>() != dataName(number_))
                return wrong(path_, where + " names another file than " + dataName(number_));
            TRY(answer.data, readData(dataName(number_)));
        }
        const bool isNew = capture_.answers.emplace(*command, std::move(answer)).second;
        return isNew ? Status() : wrong(path_, where + " is there twice");
    }

    Result<std::vector<uint8_t>> readData(const std::string& name) {
        const std::string path = path_ + "/" + name;
        TRY(const OwnFile file, openOwnFile(folder_, name.c_str(), path));
        TRY(const std::string bytes, readOwnFile(file, path, CapturedAnswers::MAX_ANSWER_BYTES));
        bytes_ += bytes.size();
        if (bytes_ > CapturedAnswers::MAX_BYTES)
            return Status(CATEGORY_OS, EFBIG, path_ + ": The capture is too large.");
        return std::vector<uint8_t>(bytes.begin(), bytes.end());
    }

    int folder_;
    const std::string& path_;
    CapturedAnswers capture_;
    size_t number_ = 0;
    size_t bytes_ = 0;
};

/// A new file on the disk.
Status writeFile(const std::string& path, std::string_view bytes) {
    const FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file.isOpen()) return fileStatus(errno, path);
    const int error = writeFully(file.get(), bytes);
    return error == 0 ? Status() : fileStatus(error, path);
}

}  // namespace

Result<CapturedAnswers> readCapture(int folder, const std::string& path) {
    return Reader(folder, path).read();
}

Result<CapturedAnswers> readCapture(const std::string& path) {
    const FileDescriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder.isOpen()) return fileStatus(errno, path);
    return readCapture(folder.get(), path);
}

Result<std::optional<CapturedAnswers>> readCaptureOfDrive(int folder, const std::string& path) {
    if (::faccessat(folder, FILE_CAPTURE, F_OK, AT_SYMLINK_NOFOLLOW) != 0 && errno == ENOENT) return std::nullopt;
    TRY(CapturedAnswers capture, readCapture(folder, path));
    return std::optional<CapturedAnswers>(std::move(capture));
}

Status writeCapture(const CapturedAnswers& capture, const std::string& folder) {
    json list = json::array();
    size_t number = 0;
    for (const auto& [command, answer] : capture.answers) {
        ++number;
        json entry = {{"name", capturedName(command, capture.isSata)},
                      {"opcode", command.opcode},
                      {"fields", command.fields},
                      {"status", answer.status},
                      {"result", answer.result}};
        if (!answer.data.empty()) {
            entry["file"] = dataName(number);
            const auto* bytes = reinterpret_cast<const char*>(answer.data.data());
            RETURN_IF_FAILED(writeFile(folder + "/" + dataName(number), {bytes, answer.data.size()}));
        }
        list.push_back(std::move(entry));
    }
    const json tree = {{"format", FORMAT},
                       {"version", VERSION},
                       {"drive", capture.isSata ? "sata" : "nvme"},
                       {"masked", capture.isMasked},
                       {"answers", std::move(list)}};
    return writeFile(folder + "/" + FILE_CAPTURE, tree.dump(1) + "\n");
}

}  // namespace features::simulator
