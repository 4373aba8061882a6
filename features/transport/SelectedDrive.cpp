#include "features/transport/SelectedDrive.h"

#include "ostrel/core/StatusCatalogue.h"

namespace features::transport {

using namespace ostrel::core;

namespace {

Status withWords(Status status, const std::string& words) {
    status.setMessage(status.getMessage() + " " + words);
    return status;
}

}  // namespace

Status unknownIdentity(const std::string& place) {
    return withWords(statuses::deviceDataRetrievalFailed(),
                     "The drive of " + place + " cannot be identified, so that it is not changed.");
}

Status anotherDrive(const std::string& place, const std::string& selected, const std::string& found) {
    return withWords(statuses::deviceUnavailable(), "The drive of " + place + " is gone. Selected was " + selected +
                                                        "; " + place + " is now that of " + found + ".");
}

}  // namespace features::transport
