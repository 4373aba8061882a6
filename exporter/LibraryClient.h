#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "CLI/LoadedFeatureLibrary.h"
#include "ostrel/core/xml/XmlObject.h"

namespace exporter {

/// The answer of the feature library to one request.
struct Answer {
    std::string error;                                     ///< of the request as a whole, or of the drive; empty: none
    std::unique_ptr<ostrel::core::xml::XmlObject> output;  ///< what is shown: an object for each drive or part of it
};

/// The feature library in this process, by its published interface: the one that the tool would load, after the same
/// checks. The settings file says where it is, and is not made where it is missing.
///
/// Threads: the main thread, of a process that forks no more.
class LibraryClient {
public:
    /// Empty when all is well; otherwise why no library is loaded.
    std::string load();

    Answer ask(const ostrel::core::xml::XmlObject& request) const;

private:
    cli::LoadedFeatureLibrary library_;
};

/// The property of that name in an object itself; null where it has none.
const ostrel::core::xml::XmlElement* findProperty(const ostrel::core::xml::XmlObject& object, const std::string& name);
/// Its value, empty where there is none.
std::string propertyText(const ostrel::core::xml::XmlObject& object, const std::string& name);
/// The first property of that name in the objects of an output, in their order; null where there is none.
const ostrel::core::xml::XmlElement* findInOutput(const ostrel::core::xml::XmlObject& output, const std::string& name);
/// Whether the object is of the kind that a title names: "Namespace" of "Namespace 1".
bool hasTitle(const ostrel::core::xml::XmlObject& object, const std::string& title);

}  // namespace exporter
