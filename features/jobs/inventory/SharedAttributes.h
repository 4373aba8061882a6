#pragma once

#include <map>
#include <mutex>
#include <string>

#include "ostrel/core/Attribute.h"

namespace features::jobs {

/// The attributes that a list shows of its drives. Drives with one text for an attribute share the bytes of its value,
/// which take a page of memory: most of a machine's drives are of one model.
///
/// Threads: any number at once.
class SharedAttributes {
public:
    /// The attribute with its text, typed as the vocabulary has it.
    ostrel::core::Attribute listed(const ostrel::core::Attribute& attribute, const std::string& text,
                                   const std::string& unit);
    /// The attribute of a drive that does not have it.
    ostrel::core::Attribute missing(const ostrel::core::Attribute& attribute);

private:
    using Make = ostrel::core::Attribute (*)(const ostrel::core::Attribute& attribute, const std::string& text);
    ostrel::core::Attribute shared(const ostrel::core::Attribute& attribute, const std::string& text, Make make);

    struct Latest {
        std::string text;
        Make make = nullptr;
        ostrel::core::Attribute attribute;
    };
    std::mutex mutex_;
    std::map<std::string, Latest> latest_;  ///< by the attribute's name
};

}  // namespace features::jobs
