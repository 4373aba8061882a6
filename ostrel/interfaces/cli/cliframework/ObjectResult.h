#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "ostrel/interfaces/cli/cliframework/ResultBase.h"

namespace cli::framework {

/// The tree-shaped result: a name, properties and child objects, both in the order of insertion. Nothing is sorted and
/// a key may occur twice. A property's value is rendered by its own output(), which is its text form.
///
/// Ownership: an object owns its children and its values.
/// Threads:   the main thread only: all objects of the process render through one indent string.
class ObjectResult : public ResultBase {
public:
    struct Property {
        std::string key;
        std::unique_ptr<ResultBase> value;  ///< never null
    };
    using Objects = std::vector<std::unique_ptr<ObjectResult>>;
    using Properties = std::vector<Property>;

    ObjectResult();
    explicit ObjectResult(std::string root);
    ~ObjectResult() override;

    // A parent renders each child by the child's own operation, so a derived class may override any of them.
    std::string outputText() const override;
    std::string outputXml() const override;
    /// Always empty: this result has no esx form.
    std::string outputEsxXml() const override;
    std::string outputJson() const override;
    std::string outputCSV() const override;

    /// The object's name. The text form prints no title for an empty one; the XML form makes it the document's top.
    void setRoot(std::string root);
    std::string getRoot() const { return root_; }

    /// Whether the text form indents the children of named objects. Holds for all objects of the process.
    static void setTab(bool indentChildren);

    /// Names the child and appends it.
    void insert(std::string root, std::unique_ptr<ObjectResult> child);
    void insert(std::string key, std::string value);
    void insert(std::string key, std::unique_ptr<ResultBase> value);

    /// The number of children; properties do not count.
    std::size_t getCount() const { return objects_.size(); }
    Objects::const_iterator begin() const { return objects_.begin(); }
    Objects::const_iterator end() const { return objects_.end(); }
    /// A value may be replaced by another one.
    Properties::iterator propertiesBegin() { return properties_.begin(); }
    Properties::iterator propertiesEnd() { return properties_.end(); }
    Properties::const_iterator propertiesBegin() const { return properties_.begin(); }
    Properties::const_iterator propertiesEnd() const { return properties_.end(); }
    /// Whether a property has this key; case does not matter.
    bool contains(const std::string& key) const;

protected:
    static std::string s_tab;      ///< the current indent; carries over from one rendering to the next
    static bool s_indentChildren;  ///< see setTab()

private:
    void outputPropertyJson(std::string& out) const;

    std::string root_;
    Objects objects_;
    Properties properties_;
};

}  // namespace cli::framework
