// A feature library with one drive whose telemetry has as many megabytes as BENCH_LOG_MEGABYTES says: what the memory
// of a dump is measured with, in tool and library together. The bytes come from a loop in the place of the drive; their
// way from there on is that of every dump.
#include <array>
#include <cstdlib>
#include <memory>

#include "features/jobs/base/DumpJob.h"
#include "features/library/AnswerStore.h"
#include "features/nvme/LogPageIds.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/XmlConverter.h"
#include "ostrel/interfaces/ostreli/interface/FeatureLibrary.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace {

using namespace ostrel::core;
using features::jobs::DumpJob;
using features::jobs::LogSink;

constexpr std::size_t PIECE_BYTES = std::size_t{128} << 10;

class LongLogJob : public DumpJob {
public:
    LongLogJob()
        : DumpJob(ostrel::interfaces::ostreli::JOB_TELEMETRY_LOG, "telemetry",
                  {0, statuses::deviceDataRetrievalFailed}) {}
    std::unique_ptr<Job> clone() const override { return std::make_unique<LongLogJob>(); }

protected:
    uint8_t logId(const features::jobs::Arguments&) const override { return features::nvme::LID_TELEMETRY_HOST; }
    Status dumpDrive(features::nvme::Drive&, const features::jobs::Arguments&, LogSink& log) override {
        const char* const megabytes = std::getenv("BENCH_LOG_MEGABYTES");
        std::uint64_t left = std::strtoull(megabytes == nullptr ? "" : megabytes, nullptr, 10) * 1000000;
        std::array<std::uint8_t, PIECE_BYTES> piece;
        for (std::size_t i = 0; i < piece.size(); ++i) piece[i] = static_cast<std::uint8_t>(i * 7 + i / 256);
        RETURN_IF_FAILED(log.begin(left));
        for (; left > 0; left -= std::min<std::uint64_t>(left, piece.size()))
            RETURN_IF_FAILED(log.add(piece.data(), std::min<std::uint64_t>(left, piece.size())));
        return Status();
    }
};

std::shared_ptr<Device> device() {
    auto device = std::make_shared<Device>();
    for (Attribute attribute : {attributes::device::serialNumber(), attributes::device::devicePath()}) {
        attribute.setValue(std::string("LONG"));
        device->setAttribute(attribute);
    }
    return device;
}

features::library::AnswerStore answers;

}  // namespace

int32_t GetVer(void) {
    return FEATURE_LIBRARY_VERSION;
}

void RegisterDeviceManager(void*) {}

void Load(int64_t) {}

void SendXMLMessage(const char* text, uint64_t length, void** handle) {
    const auto request = XmlConverter::toXml(std::string(text, length));
    const auto output = std::make_shared<xml::XmlObject>();
    LongLogJob job;
    job.setInput(dynamic_cast<xml::XmlObject&>(*request));
    job.setDevices({device()});
    output->objects.insert(output->objects.begin(), XmlConverter::statusToXml(job.run(output)));
    *handle = answers.keep(features::library::Answer(*output));
}

int32_t ReceiveXMLMessage(void* handle, void* buffer, uint64_t* size) {
    return answers.fetch(handle, buffer, size);
}
