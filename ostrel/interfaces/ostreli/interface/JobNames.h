#pragma once

#include <iterator>

/// The words of a job request: which job, and what to do with it. They travel on the wire, in exactly this spelling.
namespace ostrel::interfaces::ostreli {

/// One constant a row of JobNames.def: JOB_VELKOSSD is "VelkoSSD".
#define JOB_NAME(constant, text) inline constexpr char JOB_##constant[] = text;
#include "ostrel/interfaces/ostreli/interface/JobNames.def"

/// All of them, in the table's order.
inline constexpr const char* JOB_NAMES[] = {
#define JOB_NAME(constant, text) JOB_##constant,
#include "ostrel/interfaces/ostreli/interface/JobNames.def"
};
static_assert(std::size(JOB_NAMES) == 77, "a row was lost or doubled");

/// What a request asks of the job; compared exactly.
inline constexpr char JOBTYPE_GET_PROPERTIES[] = "GetProperties";  // read properties of the selected devices
inline constexpr char JOBTYPE_SET_PROPERTY[] = "SetProperty";      // write the one property that the request holds
inline constexpr char JOBTYPE_METHOD[] = "Method";                 // perform an operation; the properties are arguments
inline constexpr char JOBTYPE_PARSER[] = "Parser";                 // a word of the vocabulary; no job runs it

}  // namespace ostrel::interfaces::ostreli
