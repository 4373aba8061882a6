#pragma once

#include <memory>
#include <string>

#include "features/errors/Result.h"
#include "ostrel/core/Status.h"
#include "ostrel/core/xml/XmlObject.h"
#include "ostrel/interfaces/ostreli/interface/Job.h"

namespace features::library {

/// Makes the job of a request's name. Null, with the reason in `status`: 10/34 for a job of the common list that this
/// library does not have, 11/4 for any other name.
Result<std::unique_ptr<ostrel::interfaces::ostreli::Job>> createJob(const std::string& name);

/// Whether the request sets, resets, starts or erases something, and so needs the drive's lock and a name that fits one
/// drive alone. NvmeCommand::changesDrive() decides for each command again, below the job. A job that is not known
/// changes nothing.
bool changesDrive(const ostrel::core::xml::XmlObject& request);

}  // namespace features::library
