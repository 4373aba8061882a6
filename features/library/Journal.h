#pragma once

#include <string>
#include <utility>
#include <vector>

namespace features::library {

/// The system's journal, reached as it is there: systemd's by its native protocol, with each field apart, otherwise
/// syslog (RFC 3164), with the message alone. Nothing is kept open, and nothing is loaded for it.
///
/// Threads: any number at once.
class Journal {
public:
    /// A field is a name of upper case letters, digits and '_' with its value.
    using Fields = std::vector<std::pair<std::string, std::string>>;

    /// The sockets of the system. An empty path: there is none.
    explicit Journal(std::string journalSocket = "/run/systemd/journal/socket", std::string syslogSocket = "/dev/log")
        : journalSocket_(std::move(journalSocket)), syslogSocket_(std::move(syslogSocket)) {}
    /// One that keeps nothing.
    static Journal none() { return Journal("", ""); }

    /// Writes one entry of the priority "notice". A value keeps one line: other control characters become blanks, and
    /// what is longer than 4 KiB is cut. Waits a second at most for each of the two where it does not read.
    /// False where neither socket takes it: a host without a journal.
    bool write(const std::string& message, const Fields& fields) const;

private:
    std::string journalSocket_;
    std::string syslogSocket_;
};

}  // namespace features::library
