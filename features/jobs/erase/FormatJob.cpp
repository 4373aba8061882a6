#include "features/jobs/erase/FormatJob.h"

#include <string>
#include <utility>

#include "features/errors/Result.h"
#include "features/jobs/base/SetRequest.h"
#include "features/jobs/erase/AtaSanitize.h"
#include "features/jobs/erase/Erasure.h"
#include "features/jobs/erase/ErasureReports.h"
#include "features/jobs/erase/SampledDrive.h"
#include "features/nvme/NamespaceIds.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

constexpr const char* TYPE_DELETE = "Delete";
constexpr const char* TYPE_NVME_FORMAT = "NVMeFormat";
constexpr const char* TYPE_SANITIZE = "Sanitize";

FormatRequest eraseOfAll() {
    FormatRequest request;
    request.nsid = nvme::NSID_ALL;
    request.secureErase = 1;
    return request;
}

}  // namespace

FormatJob::FormatJob(std::shared_ptr<const WaitClock> clock, const ErasePasswords& passwords,
                     std::shared_ptr<const Notice> notice, std::shared_ptr<const ErasureRecords> records)
    : CloneableJob(ostrel::interfaces::ostreli::JOB_FORMAT, "Format"),
      clock_(std::move(clock)),
      passwords_(passwords),
      notice_(std::move(notice)),
      records_(std::move(records)) {}

Status FormatJob::checkRequest(const Arguments& arguments) {
    RETURN_IF_FAILED(checkOneDrive(getDevices().size()));
    const std::string type = arguments.text(attributes::feature::type().getName());
    format_ = FormatRequest();
    sanitize_ = SanitizeRequest();
    if (type == TYPE_SANITIZE) {
        type_ = Type::SANITIZE;
        TRY(sanitize_, readSanitizeRequest(arguments));
    } else if (type == TYPE_DELETE) {
        type_ = Type::DELETE;
        format_ = eraseOfAll();
    } else if (type == TYPE_NVME_FORMAT) {
        type_ = Type::NVME_FORMAT;
        TRY(format_, readFormatRequest(arguments));
    } else {
        return statuses::invalidFormatType();
    }
    const bool force = arguments.flag(attributes::feature::force().getName());
    format_.partitionsCount = sanitize_.partitionsCount = !force;
    return Status();
}

Status FormatJob::actOnDrive(nvme::Drive& drive, const Arguments&, DriveOutput& out) {
    SampledNvmeDrive sampled(drive);
    Erasure erasure(drive.device(), records_.get(), sampled, [&] { return describe(drive); });
    auto result = eraseNvme(drive, erasure);
    const auto reportOf = [&](EraseMethod method) { return reported(drive, method); };
    TRY(const std::string report, erasure.end(std::move(result), reportOf));
    out.addStatus(title(), Status(0, 0, report));
    return Status();
}

Status FormatJob::actOnAtaDrive(ata::Drive& drive, const Arguments&, DriveOutput& out) {
    SampledAtaDrive sampled(drive);
    Erasure erasure(drive.device(), records_.get(), sampled, [&] { return describe(drive); });
    auto result = eraseAta(drive, erasure);
    const auto reportOf = [&](EraseMethod method) { return reported(drive, method); };
    TRY(const std::string report, erasure.end(std::move(result), reportOf));
    out.addStatus(title(), Status(0, 0, report));
    return Status();
}

Result<std::string> FormatJob::eraseNvme(nvme::Drive& drive, Erasure& erasure) const {
    if (type_ == Type::SANITIZE) return Sanitize(drive, *clock_, erasure).run(sanitize_);
    return FormatNvm(drive, *clock_, erasure).run(format_);
}

Result<std::string> FormatJob::eraseAta(ata::Drive& drive, Erasure& erasure) const {
    switch (type_) {
        case Type::SANITIZE:
            return AtaSanitize(drive, *clock_, erasure).run(sanitize_);
        case Type::DELETE:
            return deleteUserData(drive, format_.partitionsCount, {*clock_, passwords_, *notice_, erasure});
        case Type::NVME_FORMAT:
            break;
    }
    return refuseAta(drive.device(), statuses::commandSetNotSupported());
}

}  // namespace features::jobs
