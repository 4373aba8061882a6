#include "features/jobs/logs/VendorNames.h"

#include <algorithm>
#include <string>

#include "features/jobs/drive/VendorDialect.h"
#include "features/nvme/Features.h"
#include "features/nvme/OcpLogPages.h"
#include "features/nvme/VelkoFeatures.h"
#include "features/nvme/VelkoLogPages.h"

namespace features::jobs {

using namespace ostrel::core;
using nvme::Field;
using nvme::FieldTree;

namespace {

constexpr uint8_t FIRST_VENDOR_ID = 0xC0;

/// The field of an identifier, "LID 0xC0"; null when the tree does not have it.
Field* fieldOf(FieldTree& tree, const char* kind, uint8_t id) {
    const std::string name = kind + (" " + nvme::hexText(id, 2));
    const auto found =
        std::find_if(tree.fields.begin(), tree.fields.end(), [&](const Field& field) { return field.name == name; });
    return found == tree.fields.end() ? nullptr : &*found;
}

/// Nothing is asked of a drive that reports no vendor specific identifier.
bool hasVendorIds(FieldTree& tree, const char* kind) {
    for (unsigned id = FIRST_VENDOR_ID; id <= UINT8_MAX; ++id) {
        if (fieldOf(tree, kind, static_cast<uint8_t>(id)) != nullptr) return true;
    }
    return false;
}

void namePage(FieldTree& tree, const nvme::LogPageRow& row) {
    if (Field* const field = fieldOf(tree, "LID", row.lid)) field->value = row.name;
}

void nameFeature(FieldTree& tree, const nvme::FeatureRow& row) {
    if (Field* const field = fieldOf(tree, "FID", row.fid)) field->description = row.name;
}

}  // namespace

Status nameVendorPages(DriveFacts& facts, FieldTree& tree) {
    if (!hasVendorIds(tree, "LID")) return Status();
    const bool isOcp = facts.ocpSmart() != nullptr;
    RETURN_IF_FAILED(facts.failure());
    if (isOcp) {
        std::for_each(nvme::ocpLogPagesBegin(), nvme::ocpLogPagesEnd(),
                      [&](const nvme::OcpLogPageRow& row) { namePage(tree, row.page); });
    }
    if (isVelkoDrive(facts.drive())) {
        std::for_each(nvme::velkoLogPagesBegin(), nvme::velkoLogPagesEnd(),
                      [&](const nvme::LogPageRow& row) { namePage(tree, row); });
    }
    return Status();
}

Status nameVendorFeatures(DriveFacts& facts, FieldTree& tree) {
    if (!hasVendorIds(tree, "FID")) return Status();
    const uint8_t* const ocp = facts.ocpSmart();
    RETURN_IF_FAILED(facts.failure());
    if (isVelkoDrive(facts.drive())) {
        std::for_each(nvme::velkoFeaturesBegin(), nvme::velkoFeaturesEnd(),
                      [&](const nvme::FeatureRow& row) { nameFeature(tree, row); });
    }
    if (ocp == nullptr) return Status();
    std::for_each(nvme::ocpFeaturesBegin(), nvme::ocpFeaturesEnd(), [&](const nvme::FeatureRow& row) {
        if (nvme::isOcpFeature(row.fid, nvme::ocpSmartVersion(ocp))) nameFeature(tree, row);
    });
    return Status();
}

}  // namespace features::jobs
