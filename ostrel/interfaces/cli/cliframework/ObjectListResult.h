#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "ostrel/interfaces/cli/cliframework/PropertyListResult.h"
#include "ostrel/interfaces/cli/cliframework/ResultBase.h"

namespace cli::framework {

/// A list of property lists, one an object, in the order of insertion. The only result with a table form.
///
/// Ownership: holds copies of the lists; their values are shared (see PropertyListResult).
class ObjectListResult : public ResultBase {
public:
    struct Object {
        std::string key;
        PropertyListResult list;
    };
    using Objects = std::vector<Object>;

    ObjectListResult();

    std::string outputText() const override;
    std::string outputXml() const override;
    /// A single object looks like a plain key-value list and its key is not shown.
    std::string outputEsxXml() const override;
    /// Columns are the first object's keys; the objects are expected to have the same keys in the same order.
    std::string outputTextTable() const override;
    std::string outputJson() const override;
    std::string outputCSV() const override;

    /// Appends a copy of the list, after renaming the caller's list to the key.
    void insert(std::string key, PropertyListResult& list);
    /// The root names the objects in the XML forms; "Root" until it is set.
    void setRoot(std::string root);

    std::size_t getCount() const { return objects_.size(); }
    Objects::const_iterator begin() const { return objects_.begin(); }
    Objects::const_iterator end() const { return objects_.end(); }

private:
    Objects objects_;
    std::string root_ = "Root";
};

}  // namespace cli::framework
