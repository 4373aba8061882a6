#pragma once

#include <string>

namespace ostrel::core {

/// What differs from one operating system to the next. The order of the virtual operations is binary interface, and
/// the destructor is none of them: an object is not deleted through a base.
class System {
public:
    /// One of "Windows", "WindowsPE", "Linux", "Ubuntu", "Redhat", "Suse", "CentOS", "ESXi".
    virtual std::string getName();
    /// The kernel's release.
    virtual std::string getVersion();
    /// Runs a shell command and appends what it prints to `output`; see callCommand() in Globals.h.
    virtual int callCommand(const std::string& command, std::string& output);

    /// Removes every "/mnt/remote", in place.
    static void normalizePath(std::string& path);
    static std::string pathSeparator();
    static bool isWindows();
    /// Whether the text looks like the path of a device: it holds "/dev/" or "LSI", ignoring case.
    static bool isDevicePath(const std::string& path);
};

}  // namespace ostrel::core
