// Reads and writes messages beside a bare boost::property_tree::read_xml of the same text: time and peak memory.
//
//     bench_xml_messages [largest size in MB; 32 when it is missing]
//
// The largest sizes take some 26 times their bytes of memory: 256 needs 7 GB. Each measurement starts from the text
// (or, for writing, the tree) alone. Times are the best of several and end when the result is there; memory is the peak
// above that start.

#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>

#include "bench/OwnProcess.h"
#include "ostrel/core/XmlConverter.h"

namespace {

using namespace ostrel::core;

constexpr std::size_t KB = 1000;
constexpr std::size_t MB = 1000 * KB;
constexpr std::size_t SIZES[] = {1 * KB, 16 * KB, 256 * KB, 1 * MB, 4 * MB, 32 * MB, 256 * MB};

enum Shape { SHAPE_MANY, SHAPE_HUGE };

// Objects with twenty attributes of a device each, or one property with all the bytes.
std::unique_ptr<xml::XmlObject> makeTree(std::size_t size, Shape shape) {
    auto tree = std::make_unique<xml::XmlObject>();
    tree->attributes[xml::KEY_CATEGORY] = xml::CATEGORY_OUTPUT;
    if (shape == SHAPE_HUGE) {
        tree->addProperty("payload", "");
        tree->properties[0]->attributes[xml::KEY_VALUE] = std::string(size, 'F');
        return tree;
    }
    const auto property =
        XmlConverter::attributeToXml(Attribute("SerialNumber", "Serial Number", "string", "VX123456"));
    for (std::size_t count = 0; count * property->xmlSize() < size; ++count) {
        if (count % 20 == 0) tree->objects.push_back(std::make_unique<xml::XmlObject>());
        tree->objects.back()->properties.push_back(std::make_unique<xml::XmlProperty>(*property));
    }
    return tree;
}

double readBare(const std::string& text) {
    const double begin = now();
    std::istringstream stream(text);
    boost::property_tree::ptree tree;
    boost::property_tree::read_xml(stream, tree, boost::property_tree::xml_parser::trim_whitespace);
    return now() - begin;
}

double readOurs(const std::string& text) {
    const double begin = now();
    const auto element = XmlConverter::toXml(text);
    return now() - begin;
}

double writeOurs(const xml::XmlElement& element) {
    const double begin = now();
    const std::string text = element.toXmlString();
    return now() - begin;
}

template <typename Operation>
Measurement measure(const Operation& operation) {
    const long before = peakBytes();
    Measurement best{operation(), 0};
    best.peakBytes = peakBytes() - before;  // of the first time: the later ones find the memory of the earlier ones
    double total = best.seconds;
    for (int i = 1; i < 3 || (total < 0.5 && i < 10000); ++i) {
        const double seconds = operation();
        total += seconds;
        best.seconds = std::min(best.seconds, seconds);
    }
    return best;
}

/// With the code's own pages in memory: they are none of a message's.
template <typename Task>
Measurement measureWarm(const Task& task) {
    return inOwnProcess([&task] {
        readBare("<Object a=''/>");
        readOurs("<Object a=''/>");
        return task();
    });
}

void print(const char* shape, const char* operation, std::size_t size, const Measurement& result,
           const Measurement& bare) {
    const auto bytes = static_cast<double>(size);
    std::printf("%-5s %-6s %10zu bytes %8.1f MB/s %5.2f times bare", shape, operation, size,
                bytes / result.seconds / 1e6, result.seconds / bare.seconds);
    if (size >= 256 * KB)
        std::printf("   %6.2f bytes/byte %+7.2f to bare", static_cast<double>(result.peakBytes) / bytes,
                    static_cast<double>(result.peakBytes - bare.peakBytes) / bytes);
    std::printf("\n");
    std::fflush(stdout);
}

void run(const char* name, Shape shape, std::size_t size) {
    // Handed over in a file and not in memory: what the tree took would hide the peaks.
    std::FILE* const file = std::tmpfile();
    if (file == nullptr) std::exit(1);
    const Measurement write = measureWarm([&] {
        const auto tree = makeTree(size, shape);
        const Measurement result = measure([&] { return writeOurs(*tree); });
        const std::string text = tree->toXmlString();
        if (std::fwrite(text.data(), 1, text.size(), file) != text.size() || std::fflush(file) != 0) std::abort();
        return result;
    });
    const auto textSize = static_cast<std::size_t>(lseek(fileno(file), 0, SEEK_END));
    const auto readText = [&] {
        std::string text(textSize, '\0');
        if (pread(fileno(file), text.data(), textSize, 0) != static_cast<ssize_t>(textSize)) std::abort();
        return text;
    };
    const Measurement bare = measureWarm([&] {
        const std::string text = readText();
        return measure([&] { return readBare(text); });
    });
    const Measurement read = measureWarm([&] {
        const std::string text = readText();
        return measure([&] { return readOurs(text); });
    });
    std::fclose(file);
    print(name, "bare", textSize, bare, bare);
    print(name, "read", textSize, read, bare);
    print(name, "write", textSize, write, bare);
}

}  // namespace

int main(int argc, char** argv) {
    const std::size_t largest = (argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 32) * MB;
    for (const std::size_t size : SIZES) {
        if (size > largest) break;
        run("many", SHAPE_MANY, size);
        run("huge", SHAPE_HUGE, size);
    }
    return 0;
}
