// What it costs to bring a log of the drive into a file: processor seconds, and peak memory per byte of payload.
//
//     bench_dump FILE [megabytes of payload...; 64 and 512 when there are none]
//
// The response is handed out by functions that replace the feature library and write it straight into the tool's
// buffer, so that only the tool's own memory counts. Beside the whole way: a bare boost::property_tree::read_xml of the
// same response, which is what reading alone costs, and a loop that only decodes the digits. Memory is the peak above
// what the process began with.

#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "CLI/FeatureLibraryExchange.h"
#include "CLI/velkossd/SavedOutput.h"
#include "bench/OwnProcess.h"
#include "ostrel/core/Status.h"
#include "ostrel/core/xml/XmlObject.h"
#include "ostrel/interfaces/cli/cliframework/ResultBase.h"

namespace {

constexpr char HEAD[] =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?><Object name=\"Nlog\"><Object category=\"Output\" key=\"VX1\" "
    "name=\"nlog\"><Property category=\"payload\" displayName=\"payload\" name=\"payload\" type=\"bytepointer\" "
    "value=\"";
constexpr char TAIL[] = "\"/></Object></Object>";

std::size_t payloadBytes = 0;

std::size_t responseBytes() {
    return std::strlen(HEAD) + 2 * payloadBytes + std::strlen(TAIL);
}

void writeDigits(char* out) {
    for (std::size_t i = 0; i < 2 * payloadBytes; ++i) out[i] = "0123456789ABCDEF"[(i * 7 + i / 16) % 16];
}

void writeResponse(char* out) {
    out = std::copy_n(HEAD, std::strlen(HEAD), out);
    writeDigits(out);
    std::copy_n(TAIL, std::strlen(TAIL), out + 2 * payloadBytes);
}

double libraryBegin = 0;  // the clock starts when the library has handed the response over

int32_t receiveXmlMessage(void*, void* buffer, uint64_t* size) {
    if (*size < responseBytes()) {
        *size = responseBytes();
        return FEATURE_LIBRARY_INVALID_BUFFER_SIZE;
    }
    writeResponse(static_cast<char*>(buffer));
    libraryBegin = now();
    return FEATURE_LIBRARY_SUCCESS;
}

void sendXmlMessage(const char*, uint64_t, void**) {}

/// The tool's way, from the response in the buffer to the file.
double dump(const char* file) {
    const cli::FeatureLibraryFunctions library = {sendXmlMessage, receiveXmlMessage, nullptr};
    std::unique_ptr<ostrel::core::xml::XmlElement> response;
    ostrel::core::Status status;
    if (cli::exchange(library, ostrel::core::xml::XmlObject(), response, status) != nullptr) std::abort();
    const auto result = cli::velkossd::saveBinary(*response, file);
    const double seconds = now() - libraryBegin;
    if (result->getErrorCode() != 0) {
        std::fprintf(stderr, "%s\n", result->outputText().c_str());
        std::abort();
    }
    return seconds;
}

double readBare(const char*) {
    std::string text(responseBytes(), '\0');
    writeResponse(text.data());
    const double begin = now();
    std::istringstream stream(text);
    boost::property_tree::ptree tree;
    boost::property_tree::read_xml(stream, tree, boost::property_tree::xml_parser::trim_whitespace);
    return now() - begin;
}

int digitOf(char c) {
    return c <= '9' ? c - '0' : c - 'A' + 10;
}

double decode(const char*) {
    std::string digits(2 * payloadBytes, '\0');
    writeDigits(digits.data());
    const double begin = now();
    std::array<int8_t, 256> values{};
    for (const char c : {'0', '1', '2', '3', '4', '5', '6', '7', '8', '9', 'A', 'B', 'C', 'D', 'E', 'F'})
        values[static_cast<unsigned char>(c)] = static_cast<int8_t>(digitOf(c));
    std::vector<uint8_t> bytes(payloadBytes);
    for (std::size_t i = 0; i < payloadBytes; ++i)
        bytes[i] = static_cast<uint8_t>(values[static_cast<unsigned char>(digits[2 * i])] * 16 +
                                        values[static_cast<unsigned char>(digits[2 * i + 1])]);
    return now() - begin;
}

Measurement measureOnce(double (*operation)(const char*), const char* file) {
    return inOwnProcess([=] {
        const long before = peakBytes();
        Measurement result{operation(file), 0};
        result.peakBytes = peakBytes() - before;
        return result;
    });
}

void measure(const char* name, double (*operation)(const char*), const char* file) {
    Measurement best = measureOnce(operation, file);
    for (int i = 0; i < 4; ++i) {
        const Measurement next = measureOnce(operation, file);
        if (next.seconds < best.seconds) best = next;
    }
    const auto bytes = static_cast<double>(payloadBytes);
    std::printf("%4.0f MB  %-20s %8.1f MB of payload/s  %6.2f bytes of memory/byte of payload\n", bytes / 1e6, name,
                bytes / 1e6 / best.seconds, static_cast<double>(best.peakBytes) / bytes);
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: bench_dump FILE [megabytes of payload...]\n");
        return 2;
    }
    std::vector<std::size_t> megabytes = {64, 512};
    if (argc > 2) megabytes.clear();
    for (int i = 2; i < argc; ++i) megabytes.push_back(std::strtoul(argv[i], nullptr, 10));
    for (const std::size_t size : megabytes) {
        payloadBytes = size * 1000000;
        measure("dump to a file", dump, argv[1]);
        measure("bare read_xml", readBare, argv[1]);
        measure("decoding alone", decode, argv[1]);
    }
    return 0;
}
