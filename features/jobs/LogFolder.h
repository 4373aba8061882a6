#pragma once

#include <string>

#include "features/jobs/LogSink.h"
#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/Payload.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// A new folder, and new files in it. Nothing that is there is overwritten, and no link in the place of a folder or a
/// file is followed: what this makes is its own, or it fails.
///
/// Errors:  10/194 for the folder, category 1 with errno for a file; each message names the path.
class LogFolder {
public:
    /// Makes `name` in the folder `parent`, which must be there: 10/196. Where the name is taken, "name-2" and so on.
    static ostrel::core::Status create(const std::string& parent, const std::string& name, LogFolder& folder);

    const std::string& path() const { return path_; }

    ostrel::core::Status write(const std::string& name, const ostrel::core::Payload& bytes) const;
    /// A file that is written as its bytes come. Nothing is left of one that was not finished.
    class File : public LogSink {
    public:
        File(const LogFolder& folder, std::string name) : folder_(folder), name_(std::move(name)) {}
        ~File() override;
        File(const File&) = delete;
        File& operator=(const File&) = delete;

        ostrel::core::Status begin(uint64_t bytes) override;
        ostrel::core::Status add(const uint8_t* data, size_t bytes) override;
        ostrel::core::Status finish();

    private:
        ostrel::core::Status failure(int error) const;

        const LogFolder& folder_;
        std::string name_;
        ostrel::core::FileDescriptor file_;
    };

private:
    std::string path_;
    ostrel::core::FileDescriptor folder_;
};

/// A text of a drive as the name of a file: letters, digits and "-_." stay, another character becomes '_'; without any
/// `absent`.
std::string fileNameOf(const std::string& text, const std::string& absent);

}  // namespace features::jobs
