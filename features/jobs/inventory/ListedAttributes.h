#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>

#include "features/jobs/base/DriveOutput.h"
#include "features/jobs/firmware/FirmwareModules.h"
#include "features/jobs/inventory/SharedAttributes.h"
#include "ostrel/core/Attribute.h"
#include "ostrel/core/AttributeList.h"
#include "ostrel/core/Device.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// The text of one attribute of the list of drives; empty when the drive does not have it.
using ListedText = std::optional<std::string>;

/// One attribute of the list, and where it comes from. `Facts`: what is known of a drive; its failure() is why nothing
/// more is asked.
template <typename Facts>
struct ListedRow {
    ostrel::core::Attribute (*attribute)();
    bool isKey;  ///< shown when the user asks for nothing in particular
    ListedText (*text)(Facts&);
    const char* unit = "";
};

/// Whether an attribute is shown: the request names it, or names none and it is a key one or all are wanted.
bool isWanted(const std::string& name, bool isKey, bool all, const DriveOutput& out);

/// The wanted attributes of a drive, in `list`. Only what they need is asked of the drive.
template <typename Facts, std::size_t COUNT>
ostrel::core::Status listAttributes(const ListedRow<Facts> (&rows)[COUNT], Facts& facts, bool all,
                                    const DriveOutput& out, SharedAttributes& shared,
                                    ostrel::core::AttributeList& list) {
    for (const ListedRow<Facts>& row : rows) {
        const std::string name = row.attribute().getName();
        if (!isWanted(name, row.isKey, all, out)) continue;
        const ListedText text = row.text(facts);
        if (failed(facts.failure())) return facts.failure();
        if (text) {
            list[name] = shared.listed(row.attribute(), *text, row.unit);
        } else if (row.isKey || out.requested() != nullptr) {
            list[name] = shared.missing(row.attribute());
        }
    }
    return {};
}

/// All attributes of a table, without values.
template <typename Facts, std::size_t COUNT>
ostrel::core::AttributeList supportedOf(const ListedRow<Facts> (&rows)[COUNT]) {
    ostrel::core::AttributeList list;
    for (const ListedRow<Facts>& row : rows) {
        ostrel::core::Attribute attribute = row.attribute();
        attribute.setDescription(row.unit);
        list[attribute.getName()] = std::move(attribute);
    }
    return list;
}

/// An attribute of a drive's identity as its finder reported it.
ListedText foundText(const ostrel::core::Device& device, const ostrel::core::Attribute& attribute);
/// The revision that an update would bring, or why there is none.
std::string firmwareUpdateText(const ostrel::core::Device& device, const FirmwareModules& modules);

}  // namespace features::jobs
