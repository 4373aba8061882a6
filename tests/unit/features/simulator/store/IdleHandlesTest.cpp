#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "features/simulator/store/IdleHandles.h"

using features::simulator::DriveHandles;
using features::simulator::IdleHandles;
using ostrel::core::FileDescriptor;

namespace {

DriveHandles opened() {
    DriveHandles handles;
    handles.process = ::getpid();
    handles.folder = FileDescriptor(::open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return handles;
}

TEST(IdleHandles, AreGivenBackOnceToTheirOwner) {
    IdleHandles idle;
    const int owners[2] = {};
    EXPECT_FALSE(idle.take(&owners[0]).folder.isOpen()) << "none were kept";
    DriveHandles handles = opened();
    const int descriptor = handles.folder.get();
    idle.keep(&owners[0], std::move(handles));
    EXPECT_FALSE(idle.take(&owners[1]).folder.isOpen());
    EXPECT_EQ(idle.take(&owners[0]).folder.get(), descriptor);
    EXPECT_FALSE(idle.take(&owners[0]).folder.isOpen());
    EXPECT_EQ(::fcntl(descriptor, F_GETFD), -1) << "closed by the one that took them";
}

TEST(IdleHandles, AreFewAndTheOldestAreClosedFirst) {
    IdleHandles idle;
    const int owners[20] = {};
    for (const int& owner : owners) idle.keep(&owner, opened());
    std::string kept;
    for (const int& owner : owners) kept += idle.take(&owner).folder.isOpen() ? '1' : '0';
    EXPECT_EQ(kept, "00000000111111111111");
}

TEST(IdleHandles, AreNotSharedWithAChild) {
    IdleHandles idle;
    const int owner = 0;
    idle.keep(&owner, opened());
    const pid_t child = ::fork();
    if (child == 0) ::_exit(idle.take(&owner).folder.isOpen() ? 1 : 0);
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0) << "the lock of a child would be that of its parent";
    EXPECT_TRUE(idle.take(&owner).folder.isOpen());
}

}  // namespace
