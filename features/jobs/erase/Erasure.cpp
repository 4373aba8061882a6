#include "features/jobs/erase/Erasure.h"

#include <utility>

#include "features/jobs/support/StatusDetails.h"
#include "ostrel/core/AttributeVocabulary.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

std::string timeText(std::time_t time) {
    std::tm date = {};
    gmtime_r(&time, &date);
    char text[32];
    (void)std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &date);  // it fits
    return text;
}

std::string textOf(const Device& device, const Attribute& attribute) {
    return device.getAttribute(attribute).getText();
}

}  // namespace

Status Erasure::begins(EraseMethod method, uint32_t nsid) {
    if (records_ == nullptr) return Status();
    // Not left to the erase itself: after an error of that one it is not known whether the drive took the command.
    RETURN_IF_FAILED(sampled_.checkSelected());
    drive_ = describe_();
    method_ = method;
    nsid_ = nsid;
    check_.before(sampled_, nsid);
    begin_ = records_->now();
    return Status();
}

void Erasure::started() {
    if (wasStarted_ || records_ == nullptr) return;
    wasStarted_ = true;
    (void)save();  // one that cannot be written is reported at the end, where it is written again
}

Result<std::string> Erasure::checked(const std::string& report) {
    const Status status = check_.after(sampled_, rowOf(method_).failure());
    wasChecked_ = true;
    if (failed(status)) return withDetails(status, report);
    return report;
}

Result<std::string> Erasure::end(Result<std::string> erased, const Report& report) {
    if (!wasStarted_) return erased;
    Result<std::string> result = erased && !goesOn_ ? checked(*erased) : std::move(erased);
    if (!goesOn_) {
        reported_ = report(method_);
        end_ = records_->now();
        outcome_ = result ? Status(0, 0, *result) : result.error();
    }
    const Status saved = save();
    if (succeeded(saved)) return result;
    const std::string words = "The record of the erase could not be written: " + saved.getMessage();
    if (!result) return withDetails(result.error(), words);
    return Status(saved.getCategory(), saved.getCode(), words + " " + *result);
}

ErasureRecord Erasure::record() const {
    const EraseMethodRow& method = rowOf(method_);
    const bool isSuccess = outcome_ && succeeded(*outcome_);
    ErasureRecord record;
    record.add({"drive",
                "Drive",
                {{"serialNumber", "Serial number", textOf(device_, attributes::device::serialNumber())},
                 {"modelNumber", "Model number", textOf(device_, attributes::device::modelNumber())},
                 {"firmware", "Firmware", drive_.firmware},
                 {"path", "Path", textOf(device_, attributes::device::devicePath())},
                 {"capacityBytes", "Capacity in bytes", drive_.capacityBytes, true}}});
    record.add({"method",
                "Method (IEEE 2883)",
                {{"sanitization", "Sanitization", method.sanitization},
                 {"technique", "Technique", method.technique},
                 {"command", "Command", method.command},
                 {"namespaces", "Namespaces", nsid_ == nvme::NSID_ALL ? "all" : std::to_string(nsid_)}}});
    record.add({"run",
                "Run",
                {{"start", "Start (UTC)", timeText(begin_)},
                 {"end", "End (UTC)", end_ ? timeText(*end_) : ""},
                 {"outcome", "Outcome",
                  !outcome_   ? "started"
                  : isSuccess ? "success"
                              : "failure"},
                 {"status", "Status",
                  outcome_ ? std::to_string(outcome_->getCategory()) + "/" + std::to_string(outcome_->getCode()) : ""},
                 {"message", "Message", outcome_ ? outcome_->getMessage() : ""}}});
    record.add({"reported", "Reported by the drive", reported_});
    const ErasureRecord::Fact notDone{"notDone", "Not done", "The erase was not seen to end with success."};
    record.add(wasChecked_ ? check_.section()
                           : ErasureRecord::Section{"verification", "Verification by samples", {notDone}});
    return record;
}

Status Erasure::save() {
    if (name_.empty()) {
        TRY(name_, records_->newName(device_, begin_));
    }
    return records_->save(name_, record());
}

}  // namespace features::jobs
