#pragma once

#include <memory>
#include <string>
#include <vector>

namespace cli::framework {
class ObjectResult;
}

namespace ostrel::core::xml {
class XmlElement;
class XmlObject;
}  // namespace ostrel::core::xml

/// Turns the feature library's responses into results. Nothing here knows what a drive's properties mean: the tree is
/// walked by its form alone, so whatever the library reports shows up without a change here.
///
/// Ownership: the response stays the caller's, but it is used up: names that are hidden are taken out of it.
namespace cli::velkossd {

/// The objects of category "output" right below the root of a response, in their order.
std::vector<ostrel::core::xml::XmlObject*> findOutputs(ostrel::core::xml::XmlElement& response);

/// The first output object of a response; an empty result when there is none. Several drives are children of one output
/// object, so no drive is lost.
std::unique_ptr<framework::ObjectResult> render(const std::vector<std::string>& hidden,
                                                ostrel::core::xml::XmlElement& response);

/// One output object, without the hidden properties, at any depth. The result's error code is 0 unless
/// a status or a health scan within says otherwise; of several failures the last one counts.
std::unique_ptr<framework::ObjectResult> renderOutput(const std::vector<std::string>& hidden,
                                                      ostrel::core::xml::XmlObject& output);

}  // namespace cli::velkossd
