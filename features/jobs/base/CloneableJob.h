#pragma once

#include <memory>

#include "features/jobs/base/DriveJob.h"

namespace features::jobs {

/// The base of a class of jobs, which has clone() from here. `Base`: DriveJob or a class that derives from it.
///
/// Deriving: a class that is made with arguments has a makeNew() of its own, which passes them on.
template <typename Class, typename Base = DriveJob>
class CloneableJob : public Base {
public:
    std::unique_ptr<ostrel::interfaces::ostreli::Job> clone() const final {
        auto copy = static_cast<const Class&>(*this).makeNew();
        copy->copyFrom(*this);
        return copy;
    }

    /// A job of the same class, made as this one was, that has not got a request yet.
    std::unique_ptr<Class> makeNew() const { return std::make_unique<Class>(); }

protected:
    using Base::Base;
};

}  // namespace features::jobs
