#include <dlfcn.h>
#include <gtest/gtest.h>

#include <sstream>
#include <type_traits>

#include "ostrel/connections/linux/connection_dll_linux/Connection_DLL_Linux.h"
#include "ostrel/core/Status.h"
#include "tests/support/LogCapture.h"
#include "tests/support/StatusText.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/VirtualSlots.h"

using ostrel::connections::dll::Connection;
using ostrel::core::Status;

namespace {

const std::string LIBRARY = NIMBREL_RECORDING_LIBRARY;

bool isMapped(const std::string& library) {
    void* const handle = dlopen(library.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (handle != nullptr) dlclose(handle);
    return handle != nullptr;
}

class ConnectionDll : public testing::Test {
protected:
    // The log without scope traces.
    std::string logged() const {
        std::istringstream lines(log_.lines());
        std::string result;
        for (std::string line; std::getline(lines, line);) {
            const std::string end = line.substr(line.rfind(' ') + 1);
            if (end != "Entering" && end != "Exiting") result += line + "\n";
        }
        return result;
    }

private:
    const LogCapture log_{ostrel::core::LOGSEVERITY_DEBUG};
};

}  // namespace

TEST_F(ConnectionDll, OpensAndCloses) {
    Connection connection(LIBRARY);
    EXPECT_FALSE(connection.isOpen());
    EXPECT_EQ(statusText(connection.open(nullptr)), "0/0 Completed successfully.");
    EXPECT_TRUE(connection.isOpen());
    EXPECT_TRUE(isMapped(LIBRARY));
    EXPECT_EQ(statusText(connection.close()), "0/0 Completed successfully.");
    EXPECT_FALSE(connection.isOpen());
    EXPECT_FALSE(isMapped(LIBRARY));
    EXPECT_EQ(logged(),
              "[debug] Handle is NULL. Connection must be closed.\n"
              "[debug] Opened connection to " +
                  LIBRARY +
                  "\n"
                  "[debug] Handle is NULL. Connection must be closed.\n");
}

TEST_F(ConnectionDll, OpensTwiceWithoutASecondDlopen) {
    Connection connection(LIBRARY);
    ASSERT_TRUE(succeeded(connection.open(nullptr)));
    EXPECT_EQ(statusText(connection.open(nullptr)), "0/0 Completed successfully.");
    EXPECT_EQ(logged(), "[debug] Opened connection to " + LIBRARY +
                            "\n"
                            "[debug] Connection already opened for " +
                            LIBRARY + "\n");
    ASSERT_TRUE(succeeded(connection.close()));
    EXPECT_FALSE(isMapped(LIBRARY)) << "a second dlopen would need a second dlclose";
}

TEST_F(ConnectionDll, ClosesAClosedConnection) {
    Connection connection(LIBRARY);
    EXPECT_EQ(statusText(connection.close()), "0/0 Completed successfully.");
    EXPECT_EQ(logged(), "");
}

TEST_F(ConnectionDll, RefusesWhatDoesNotLoad) {
    TemporaryFolder folder;
    const std::string path = folder / "absent.so";
    Connection connection(path);
    EXPECT_EQ(statusText(connection.open(nullptr)), "1/0 System error.");
    EXPECT_FALSE(connection.isOpen());
    EXPECT_EQ(logged(), "[error] Unable to load " + path + ". System error: " + path +
                            ": cannot open shared object file: No such file or directory\n"
                            "[debug] Handle is NULL. Connection must be closed.\n");
}

TEST_F(ConnectionDll, RefusesAFileThatIsNoLibrary) {
    TemporaryFolder folder;
    const std::string path = folder / "text.so";
    writeWholeFile(path, "no library");
    errno = EBADF;  // of something else, and not to be reported
    Connection connection(path);
    EXPECT_EQ(statusText(connection.open(nullptr)), "1/0 System error.");
    EXPECT_EQ(connection.getLoadError(), path + ": file too short");
    EXPECT_EQ(logged(), "[error] Unable to load " + path + ". System error: " + path + ": file too short\n");
    std::filesystem::copy_file(LIBRARY, path, std::filesystem::copy_options::overwrite_existing);
    EXPECT_TRUE(succeeded(connection.open(nullptr)));
    EXPECT_EQ(connection.getLoadError(), "");
}

TEST_F(ConnectionDll, LoadsFunctions) {
    Connection connection(LIBRARY);
    ASSERT_TRUE(succeeded(connection.open(nullptr)));
    void* address = nullptr;
    EXPECT_EQ(statusText(connection.loadFunction("Unload", address)), "0/0 Completed successfully.");
    EXPECT_NE(address, nullptr);
    EXPECT_EQ(statusText(connection.loadFunction("Absent", address)), "0/28 Failed to load function from the dll.");
    EXPECT_EQ(address, nullptr);
    EXPECT_EQ(logged(), "[debug] Opened connection to " + LIBRARY +
                            "\n"
                            "[error] Failed to load Absent. OS error: " +
                            LIBRARY + ": undefined symbol: Absent\n");
}

TEST_F(ConnectionDll, LoadsNoFunctionOfTheProgramWhileClosed) {
    Connection connection(LIBRARY);
    void* address = nullptr;
    EXPECT_EQ(statusText(connection.loadFunction("malloc", address)), "0/28 Failed to load function from the dll.");
    EXPECT_EQ(address, nullptr);
    EXPECT_EQ(logged(), "[error] Failed to load malloc. OS error: \n");
}

TEST_F(ConnectionDll, KeepsTheCodeLoadedOnRequest) {
    TemporaryFolder folder;  // a copy: it stays for the rest of the test program
    std::filesystem::copy_file(LIBRARY, folder / "kept.so");
    Connection connection(folder / "kept.so");
    connection.setKeepLoaded(true);
    ASSERT_TRUE(succeeded(connection.open(nullptr)));
    ASSERT_TRUE(succeeded(connection.close()));
    EXPECT_TRUE(isMapped(folder / "kept.so"));
}

TEST_F(ConnectionDll, ClosesWithTheObject) {
    {
        Connection connection(LIBRARY);
        ASSERT_TRUE(succeeded(connection.open(nullptr)));
    }
    EXPECT_FALSE(isMapped(LIBRARY));
}

TEST_F(ConnectionDll, ClonesAClosedConnectionToTheSameLibrary) {
    TemporaryFolder folder;
    std::filesystem::copy_file(LIBRARY, folder / "cloned.so");
    Connection connection(folder / "cloned.so");
    connection.priority = 7;
    connection.setKeepLoaded(true);
    ASSERT_TRUE(succeeded(connection.open(nullptr)));
    const auto clone = connection.clone();
    EXPECT_EQ(clone->name, folder / "cloned.so");
    EXPECT_EQ(clone->priority, 7);
    EXPECT_FALSE(clone->isOpen());
    ASSERT_TRUE(succeeded(connection.close()));
    ASSERT_TRUE(succeeded(clone->open(nullptr)));
    ASSERT_TRUE(succeeded(clone->close()));
    EXPECT_TRUE(isMapped(folder / "cloned.so")) << "the clone keeps its library loaded, as the original does";
}

// Two owners of one handle would close it twice.
static_assert(!std::is_copy_constructible_v<Connection> && !std::is_move_constructible_v<Connection>);

TEST_F(ConnectionDll, AssignsWhichLibraryAndNotWhetherItIsOpen) {
    Connection one(LIBRARY);
    one.priority = 3;
    ASSERT_TRUE(succeeded(one.open(nullptr)));
    Connection other("other.so");
    other = one;
    EXPECT_EQ(other.name, LIBRARY);
    EXPECT_EQ(other.priority, 3);
    EXPECT_FALSE(other.isOpen());

    ostrel::core::Connection& base = other;
    ostrel::connections::common::dll::Connection& middle = other;
    one.name = "renamed.so";
    base = one;
    EXPECT_EQ(other.name, "renamed.so");
    one.name = "again.so";
    middle = one;
    EXPECT_EQ(other.name, "again.so");
}

TEST(ConnectionSlots, AreInTheOrderThatTheFeatureLibraryKnows) {
    using Base = ostrel::core::Connection;
    using Middle = ostrel::connections::common::dll::Connection;
    // 0 and 1 are the destructors.
    EXPECT_EQ(virtualSlot(&Base::open), 2U);
    EXPECT_EQ(virtualSlot(&Base::close), 3U);
    EXPECT_EQ(virtualSlot(&Base::isOpen), 4U);
    EXPECT_EQ(virtualSlot(&Base::getPartitionStatus), 5U);
    EXPECT_EQ(virtualSlot(&Base::clone), 6U);
    EXPECT_EQ(virtualSlot(static_cast<Base& (Base::*)(const Base&)>(&Base::operator=)), 7U);
    EXPECT_EQ(virtualSlot(&Middle::loadFunction), 8U);
    EXPECT_EQ(virtualSlot(static_cast<Middle& (Middle::*)(const Middle&)>(&Middle::operator=)), 9U);
    EXPECT_EQ(virtualSlot(static_cast<Connection& (Connection::*)(const Connection&)>(&Connection::operator=)), 10U);
}

TEST_F(ConnectionDll, HasNoPartitions) {
    EXPECT_EQ(statusText(Connection(LIBRARY).getPartitionStatus()), "0/3 Device has no partitions.");
}

namespace {

template <typename Base>
struct NextSlot : Base {
    virtual void next();
};

template <typename Class>
std::size_t assignmentSlot() {
    return virtualSlot(static_cast<Class& (Class::*)(const Class&)>(&Class::operator=));
}

}  // namespace

// The feature library is built against this order. Slots 0 and 1 are the destructor's.
TEST_F(ConnectionDll, KeepsItsVirtualSlots) {
    using Base = ostrel::core::Connection;
    using Middle = ostrel::connections::common::dll::Connection;
    EXPECT_EQ(virtualSlot(&Base::open), 2u);
    EXPECT_EQ(virtualSlot(&Base::close), 3u);
    EXPECT_EQ(virtualSlot(&Base::isOpen), 4u);
    EXPECT_EQ(virtualSlot(&Base::getPartitionStatus), 5u);
    EXPECT_EQ(virtualSlot(&Base::clone), 6u);
    EXPECT_EQ(assignmentSlot<Base>(), 7u);
    EXPECT_EQ(virtualSlot(&NextSlot<Base>::next), 8u);
    EXPECT_EQ(virtualSlot(&Middle::loadFunction), 8u);
    EXPECT_EQ(assignmentSlot<Middle>(), 9u);
    EXPECT_EQ(assignmentSlot<Connection>(), 10u);
}
