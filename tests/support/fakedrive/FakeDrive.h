#pragma once

#include <memory>
#include <string>

#include "ostrel/core/Device.h"
#include "tests/support/fakedrive/Expected.h"

namespace fakedrive {

/// A drive for unit tests that answers by a script: each command that the code under test sends must be the next one of
/// the script, whole. A command that is another, one too many, and at the end one too few fails the test with what was
/// expected and what came.
///
///     FakeDrive fake;
///     fake.expect(identify(0x01).answers(identifyController()))
///         .expect(logPage(0x02, 512).answers(smartLog()));
///     Drive drive(*fake.device());
///
/// Threads: one at a time per drive; several drives side by side.
class FakeDrive {
public:
    explicit FakeDrive(const std::string& serialNumber = "S1", const std::string& devicePath = "/dev/nvme0");
    /// Fails the test for the commands that never came.
    ~FakeDrive();
    FakeDrive(const FakeDrive&) = delete;
    FakeDrive& operator=(const FakeDrive&) = delete;

    FakeDrive& expect(const Expected& command);
    /// Fails for the commands that have not come, and begins a new script.
    void expectDone();

    /// The attributes are those that a scan gives (DevicePath, SerialNumber, ModelNumber, Firmware), and the command
    /// sets "NVMe" and "Host" lead to the path "Fake".
    const std::shared_ptr<ostrel::core::Device>& device() const { return device_; }

protected:
    FakeDrive(const std::string& serialNumber, const std::string& devicePath, const char* commandSet);

private:
    class Path;
    struct Script;

    std::shared_ptr<Script> script_;
    std::shared_ptr<ostrel::core::Device> device_;
};

/// The same with the command sets "ATA" and "Host".
class FakeSataDrive : public FakeDrive {
public:
    explicit FakeSataDrive(const std::string& serialNumber = "S1", const std::string& devicePath = "/dev/sda")
        : FakeDrive(serialNumber, devicePath, features::ata::COMMAND_SET_ATA) {}
};

}  // namespace fakedrive
