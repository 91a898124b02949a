#pragma once

#include <optional>
#include <string>
#include <vector>

namespace platform
{

/// The plain file-system questions of the agent. Product paths get the system root in front, homes do not.
class FileSystem
{
public:
    virtual ~FileSystem() = default;
    virtual bool exists(const std::string& path) = 0;      ///< Any kind; links are followed.
    virtual bool isDirectory(const std::string& path) = 0; ///< Links are followed.
    /// Names in the folder without "." and ".."; null when it cannot be listed.
    virtual std::optional<std::vector<std::string>> contentsOfDirectory(const std::string& path) = 0;
    /// Whether the folder can be opened and at least one entry (its own ".") read.
    virtual bool directoryIsReadable(const std::string& path) = 0;
    /// One folder with the process's usual mode; false when it exists or cannot be made. Below /Volumes and /Network
    /// folders are made on mounted file systems only: on the computer's own disk one would pass for a share that is
    /// not mounted.
    virtual bool createDirectory(const std::string& path) = 0;
    /// What a person calls the file or folder; there need not be anything at the path yet.
    virtual std::string displayName(const std::string& path) = 0;
    /// Whether the folder is shown to people as a single file.
    virtual bool isPackage(const std::string& path) = 0;
    /// False when the file system of the path has just kept a call waiting for too long. Until it is tried again all
    /// other answers about it mean "unknown", not "no".
    virtual bool answers(const std::string& /*path*/) { return true; }
    /// Asks the file system itself, past every cache; as long as it is there, an error is an answer too.
    virtual bool reach(const std::string& /*path*/) { return true; }
};

} // namespace platform
