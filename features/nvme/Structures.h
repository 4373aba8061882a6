#pragma once

#include <string>
#include <vector>

#include "features/nvme/FieldTable.h"

namespace features::nvme {

/// A table of fields and the object of an answer that shows them: the heading without the drive, and " > " before that
/// of a part. "*" matches a number or a name.
struct Structure {
    std::string object;
    FieldRows rows;
};

/// All tables, by the files that have them: out of these docs/output.md is made. Fields that no table has are in
/// tests/support/outputkeys.
std::vector<Structure> identifyStructures();
std::vector<Structure> commandSetStructures();
std::vector<Structure> healthLogStructures();
std::vector<Structure> historyLogStructures();
std::vector<Structure> listLogStructures();
std::vector<Structure> supportLogStructures();
std::vector<Structure> mediaLogStructures();
std::vector<Structure> featureStructures();
std::vector<Structure> velkoFeatureStructures();
std::vector<Structure> velkoLogStructures();
std::vector<Structure> ocpLogStructures();

}  // namespace features::nvme
