#pragma once

#include <string>

#include "features/nvme/FieldTree.h"

namespace features::nvme {

/// A decoded structure as text: its heading, a line for each field, the parts indented below.
inline std::string treeText(const FieldTree& tree, const std::string& indent = "") {
    std::string text = indent + "[" + tree.heading + "]\n";
    for (const Field& field : tree.fields) {
        text.append(indent).append(field.name);
        if (!field.description.empty()) text.append(" - ").append(field.description);
        text.append(": ").append(field.value).append("\n");
    }
    for (const FieldTree& part : tree.parts) text += treeText(part, indent + "    ");
    return text;
}

}  // namespace features::nvme
