#include <gtest/gtest.h>

#include <cerrno>

#include "features/transport/HostStatus.h"
#include "tests/support/StatusText.h"

namespace features::transport {
namespace {

using namespace ostrel::core;

TEST(HostStatus, NoErrorOfTheSystemIsACodeOfItsOwn) {
    for (int error = 1; error <= 133; ++error) {
        for (const Status& status :
             {hostStatus(error, "/dev/nvme0"), hostStatus(error, "/dev/nvme0", statuses::noConnectionToOpen),
              hostStatus(Status(CATEGORY_OS, static_cast<uint32_t>(error), "System error. /opt/one: why."))}) {
            EXPECT_NE(status.getCategory(), CATEGORY_OS) << error;
            EXPECT_NE(status.getCode() % 256, 0U) << error;
            EXPECT_TRUE(isTransportError(status)) << error;
            EXPECT_NE(status.getMessage().find("(errno " + std::to_string(error)), std::string::npos) << error;
        }
    }
}

TEST(HostStatus, TheCallerSaysWhatOtherErrorsAre) {
    EXPECT_EQ(statusText(hostStatus(EMFILE, "/dev/nvme0", statuses::noConnectionToOpen)),
              "0/64 There was no connection to open. /dev/nvme0 (errno 24: Too many open files).");
    EXPECT_EQ(statusText(hostStatus(ENODEV, "/dev/nvme0", statuses::noConnectionToOpen)),
              "0/70 The device (object) was unavailable. The drive of /dev/nvme0 is gone (errno 19: No such device).");
}

TEST(HostStatus, AStatusKeepsItsOwnWords) {
    EXPECT_EQ(statusText(hostStatus(Status(CATEGORY_OS, EBADMSG, "The state of the simulated drive is damaged: x"))),
              "0/70 The device (object) was unavailable. The state of the simulated drive is damaged: x (errno 74).");
    EXPECT_EQ(statusText(hostStatus(Status(CATEGORY_OS, EACCES, "System error. No permission for /opt/x."))),
              "10/238 Requires admin privileges. No permission for /opt/x (errno 13).");
    EXPECT_EQ(statusText(hostStatus(Status(10, 33, "No."))), "10/33 No.");
    EXPECT_EQ(statusText(hostStatus(Status())), "0/0 Completed successfully.");
}

TEST(HostStatus, WhatTheDriveAnsweredIsNoTransportError) {
    EXPECT_FALSE(isTransportError(Status()));
    EXPECT_FALSE(isTransportError(statuses::nvmeCommandProblem()));
    EXPECT_FALSE(isTransportError(statuses::deviceDataRetrievalFailed()));
    EXPECT_TRUE(isTransportError(statuses::systemRescanFailed())) << "namespaces that could not be looked at";
}

}  // namespace
}  // namespace features::transport
