#include "features/jobs/logs/NvmeLogRequest.h"

#include "features/jobs/logs/LogPageNames.h"
#include "features/nvme/OcpLogPages.h"
#include "features/nvme/VelkoLogPages.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;
namespace keys = attributes::feature;

namespace {

/// Log Specific Field is 7 bits wide since NVMe 2.0, 4 before: there the others are reserved.
constexpr uint64_t MAX_LSP = 127;
/// 256 MiB: no log page comes near, and the buffer has to fit the memory.
constexpr uint64_t MAX_DWORDS = uint64_t{64} * 1024 * 1024;

Status outOfRange(const std::string& key, uint64_t value, const char* range) {
    return Status(CATEGORY_FEATURE, statuses::invalidProperty().getCode(),
                  "Invalid value given for " + key + ": '" + std::to_string(value) + "'. It must be " + range + ".");
}

/// Identifier or name; an identifier of 0, or neither, selects all pages.
Status readPage(const Arguments& arguments, NvmeLogRequest& request) {
    TRY(const std::optional<uint64_t> number, arguments.number(keys::logId().getName(), UINT32_MAX));
    if (number > UINT8_MAX) {
        return Status(CATEGORY_FEATURE, statuses::invalidLogId().getCode(),
                      statuses::invalidLogId().getMessage() + " It must be a number from 0 to 255.");
    }
    if (number.value_or(0) != 0) request.lid = static_cast<uint8_t>(*number);
    const std::string name = arguments.text(keys::logName().getName());
    if (number || name.empty()) return Status();
    request.lid = findLogByName(name);
    request.isVelko = nvme::findVelkoLogPage(name) != nullptr;
    request.isOcp = nvme::findOcpLogPage(name) != nullptr;
    if (request.lid) return Status();
    return Status(CATEGORY_FEATURE, statuses::invalidLogName().getCode(),
                  statuses::invalidLogName().getMessage() + " There is no log page '" + name +
                      "'; 'list' shows those of a drive.");
}

Status readExtent(const Arguments& arguments, NvmeLogRequest& request) {
    const std::string offsetKey = keys::logPageOffset().getName();
    TRY(const std::optional<uint64_t> offset, arguments.number(offsetKey, UINT64_MAX));
    request.offset = offset.value_or(0);
    if (request.offset % 4 != 0) return outOfRange(offsetKey, request.offset, "a multiple of 4 bytes");
    const std::string dwordsKey = keys::numDWORDs().getName();
    TRY(const std::optional<uint64_t> dwords, arguments.number(dwordsKey, MAX_DWORDS));
    if (!dwords) return Status();
    if (*dwords == 0) return outOfRange(dwordsKey, 0, "1 or more");
    request.bytes = static_cast<uint32_t>(*dwords * 4);
    return Status();
}

Status readSpecifics(const Arguments& arguments, NvmeLogRequest& request) {
    TRY(const std::optional<uint64_t> lsp, arguments.number(keys::logSpecificField().getName(), MAX_LSP));
    if (lsp) request.lsp = static_cast<uint8_t>(*lsp);
    TRY(const std::optional<uint64_t> lsi, arguments.number(keys::logSpecificId().getName(), UINT16_MAX));
    if (lsi) request.lsi = static_cast<uint16_t>(*lsi);
    return Status();
}

Status readFlags(const Arguments& arguments, NvmeLogRequest& request) {
    const struct {
        Attribute attribute;
        bool& flag;
    } flags[] = {
        {keys::list(), request.list},
        {keys::namespaceSpecific(), request.ofNamespace},
        {keys::retainAsynchronousEvent(), request.retainEvent},
    };
    for (const auto& row : flags) {
        TRY(const std::optional<bool> flag, arguments.boolean(row.attribute.getName()));
        row.flag = flag.value_or(row.flag);
    }
    return Status();
}

/// A file holds one page of bytes.
Status checkFile(const NvmeLogRequest& request) {
    if (request.file.empty()) return Status();
    if (request.list) {
        return Status(CATEGORY_FEATURE, statuses::invalidProperty().getCode(),
                      "The list of log pages is shown, not written to a file. Leave the destination out.");
    }
    if (request.lid) return Status();
    return Status(CATEGORY_FEATURE, statuses::invalidLogId().getCode(),
                  statuses::invalidLogId().getMessage() + " Name the one log page that is to be written.");
}

}  // namespace

Result<NvmeLogRequest> NvmeLogRequest::read(const Arguments& arguments) {
    NvmeLogRequest request;
    for (const auto part : {readFlags, readSpecifics, readExtent, readPage}) RETURN_IF_FAILED(part(arguments, request));
    request.file = arguments.text(keys::file().getName());
    RETURN_IF_FAILED(checkFile(request));
    return request;
}

}  // namespace features::jobs
