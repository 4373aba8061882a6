#pragma once

#include <memory>
#include <string>
#include <vector>

#include "features/library/Journal.h"
#include "features/library/Requester.h"
#include "ostrel/core/Device.h"
#include "ostrel/core/Status.h"
#include "ostrel/core/xml/XmlObject.h"

namespace features::library {

/// The audit trail of a request that changes drives: for each drive an entry in the journal before anything is sent,
/// and one with the outcome at the end, also where the request was refused. docs/audit.md has the fields. Neither
/// passwords nor PSIDs are in it.
///
/// A host without a journal has no trail, which is no reason not to run: the debug log says so.
///
/// Ownership: shares the devices; request and journal must outlive it.
class AuditTrail {
public:
    /// Writes the first entries. `devices` are the drives that the request selected.
    AuditTrail(const Journal& journal, const ostrel::core::xml::XmlObject& request,
               const std::vector<std::shared_ptr<ostrel::core::Device>>& devices,
               const Requester& requester = requesterOfThisProcess());

    /// Writes the last entries. Of a drive that has a status of its own in `output`, that is the outcome; a failure
    /// counts more than a success.
    void end(const ostrel::core::Status& status, const ostrel::core::xml::XmlObject& output) const;

private:
    void write(const ostrel::core::Device& device, const std::string& what, const Journal::Fields& more) const;

    const Journal& journal_;
    std::string job_;
    std::string arguments_;
    std::string who_;
    std::string id_;  ///< which entries belong together
    Journal::Fields fields_;
    std::vector<std::shared_ptr<ostrel::core::Device>> devices_;
    uint64_t beginUs_;
};

}  // namespace features::library
