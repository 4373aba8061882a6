#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "ostrel/interfaces/cli/cliframework/ResultBase.h"

namespace cli::framework {

/// One named list of keys and values in the order of insertion, unsorted and with repeated keys as they come.
///
/// Ownership: copies of a list share the value objects, so no list owns them: an inserted value passes to a store of
///            the process and lives until the process ends. Copies are made freely and stay valid.
/// Threads:   the main thread only, because of that store.
class PropertyListResult : public ResultBase {
public:
    struct Property {
        std::string key;
        const ResultBase* value;  ///< never null, not owned
    };
    using Properties = std::vector<Property>;

    PropertyListResult();

    std::string outputText() const override;
    std::string outputXml() const override;
    std::string outputEsxXml() const override;
    std::string outputJson() const override;
    std::string outputCSV() const override;

    void insert(std::string key, std::string value);
    void insert(std::string key, std::unique_ptr<ResultBase> value);

    std::size_t getCount() const { return properties_.size(); }
    /// The name is the tag of the XML form; "Root" until it is set.
    void setName(std::string name);

    /// The text of the first property with this key, whatever its case; empty when there is none.
    std::string operator[](const std::string& key) const;
    bool contains(const std::string& key) const;
    Properties::const_iterator propertiesBegin() const { return properties_.begin(); }
    Properties::const_iterator propertiesEnd() const { return properties_.end(); }

private:
    Properties::const_iterator find(const std::string& key) const;

    Properties properties_;
    std::string name_ = "Root";
};

}  // namespace cli::framework
