#include "features/jobs/inventory/SharedAttributes.h"

#include "ostrel/core/Status.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

Attribute textAttribute(const Attribute& attribute, const std::string& text) {
    return Attribute(attribute.getName(), attribute.getDisplayName(), typeString(), text);
}

Attribute typedAttribute(const Attribute& attribute, const std::string& text) {
    Attribute typed = attribute;
    return succeeded(typed.fromText(text)) ? typed : textAttribute(attribute, text);
}

}  // namespace

Attribute SharedAttributes::shared(const Attribute& attribute, const std::string& text, Make make) {
    const std::lock_guard<std::mutex> lock(mutex_);
    Latest& latest = latest_[attribute.getName()];
    if (latest.make != make || latest.text != text) latest = {text, make, make(attribute, text)};
    return latest.attribute;
}

Attribute SharedAttributes::listed(const Attribute& attribute, const std::string& text, const std::string& unit) {
    Attribute found = shared(attribute, text, typedAttribute);
    found.setDescription(unit);
    return found;
}

Attribute SharedAttributes::missing(const Attribute& attribute) {
    // A text: the reader takes text in a numeric type for a number.
    return shared(attribute, "Property not found", textAttribute);
}

}  // namespace features::jobs
