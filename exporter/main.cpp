#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include "CLI/ToolInformation.h"
#include "exporter/Check.h"
#include "exporter/Collector.h"
#include "exporter/Exposition.h"
#include "exporter/Listener.h"
#include "exporter/MetricTable.h"
#include "exporter/Options.h"
#include "exporter/PrivateFolder.h"
#include "exporter/Snapshots.h"
#include "ostrel/core/File.h"
#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/SystemError.h"
#include "ostrel/core/WriteSignals.h"

namespace {

using namespace exporter;

constexpr int EXIT_USAGE = 2;
constexpr int EXIT_UNKNOWN = 3;
constexpr char LOCKS[] = "/run/nimbrel/exporter";
constexpr char SNAPSHOTS[] = "/var/lib/nimbrel/snapshots";
constexpr char NOT_ROOT[] = "this takes the root user";

/// There is no further place for what cannot be said on the error stream.
void complain(const std::string& words) {
    (void)ostrel::core::writeFully(STDERR_FILENO, "nimbrel-exporter: " + words + "\n");
}

int print(const std::string& text) {
    const int error = ostrel::core::writeFully(STDOUT_FILENO, text);
    if (error != 0) complain("Cannot write to standard output: " + ostrel::core::systemErrorText(error) + ".");
    return error == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

int fail(const std::string& words) {
    complain(words);
    return EXIT_FAILURE;
}

void reportErrors(const Collection& collection) {
    if (!collection.scanError.empty()) complain(collection.scanError);
    for (const DriveReading& reading : collection.drives) {
        for (const std::string& error : reading.errors) complain(reading.drive.text() + ": " + error);
    }
}

/// A drive whose snapshot cannot be kept does not keep the others from theirs.
bool keepSnapshots(const Collection& collection) {
    PrivateFolder folder;
    std::string error = folder.open(SNAPSHOTS);
    if (!error.empty()) complain(error);
    bool isKept = error.empty();
    if (!isKept) return false;
    for (const DriveReading& reading : collection.drives) {
        error = keepSnapshot(folder, reading, collection.time);
        if (!error.empty()) complain(error);
        isKept = isKept && error.empty();
    }
    return isKept;
}

int writeMetrics(const Options& options, const Collector& collector) {
    const Collection collection = collector.collect({});
    reportErrors(collection);
    int status = collection.scanError.empty() ? EXIT_SUCCESS : EXIT_FAILURE;
    if (options.output == "-") {
        status = std::max(status, print(toExposition(collection)));
    } else {
        const auto written = ostrel::core::writeFileAtomically(options.output, toExposition(collection));
        if (failed(written)) status = fail(written.getMessage());
    }
    if (options.keepsSnapshots && !keepSnapshots(collection)) status = EXIT_FAILURE;
    return status;
}

int printCheck(const CheckResult& result) {
    return print(result.line + "\n") == EXIT_SUCCESS ? result.status : EXIT_UNKNOWN;
}

int runCheck(const Options& options) {
    if (!options.error.empty()) return printCheck(unknown(options.error));
    if (::geteuid() != 0) return printCheck(unknown(NOT_ROOT));
    PrivateFolder locks;
    const std::string error = locks.open(LOCKS);
    if (!error.empty()) return printCheck(unknown(error));
    const Collection collection = Collector(locks, options.limits).collect(options.drives);
    return printCheck(check(collection, options.warning, options.critical));
}

int runListener(const Options& options) {
    PrivateFolder locks;
    const auto collect = [&] {
        const std::string error = locks.descriptor().isOpen() ? "" : locks.open(LOCKS);
        if (!error.empty()) return Collection{{}, error, std::time(nullptr), 0};
        Collection collection = Collector(locks, options.limits).collect({});
        reportErrors(collection);
        return collection;
    };
    return fail(serve({options.address, options.intervalSeconds}, collect));
}

int runMode(const Options& options) {
    switch (options.mode) {
        case Mode::HELP:
            return print(helpText());
        case Mode::VERSION:
            return print(std::string("nimbrel-exporter ") + cli::version::TOOL_VERSION + "\n");
        case Mode::LIST_METRICS:
            return print(metricsAsMarkdown());
        case Mode::CHECK:
            return runCheck(options);
        case Mode::LISTEN:
        case Mode::TEXT_FILE:
            break;
    }
    if (::geteuid() != 0) return fail(NOT_ROOT);
    if (options.mode == Mode::LISTEN) return runListener(options);
    PrivateFolder locks;
    const std::string error = locks.open(LOCKS);
    return error.empty() ? writeMetrics(options, Collector(locks, options.limits)) : fail(error);
}

}  // namespace

int main(int argc, char** argv) {
    ostrel::core::ignoreWriteSignals();
    ::umask(S_IWGRP | S_IWOTH);  // the node exporter reads the metrics as a user of its own
    bool isCheck = false;
    try {
        const Options options = parseOptions({argv + std::min(argc, 1), argv + argc});
        isCheck = options.mode == Mode::CHECK;
        if (isCheck || options.error.empty()) return runMode(options);
        complain(options.error + " See --help.");
        return EXIT_USAGE;
    } catch (const std::bad_alloc&) {
        (void)ostrel::core::writeFully(STDERR_FILENO, "nimbrel-exporter: Out of memory.\n");
    } catch (const std::exception& failure) {
        complain(failure.what());
    }
    return isCheck ? EXIT_UNKNOWN : EXIT_FAILURE;
}
