#pragma once

#include <functional>
#include <memory>
#include <string>

namespace braid::window
{

/// What can be shown of one version.
struct VersionContent {
    enum class Kind { Text, Picture, Empty, Other, TooLarge, Unreadable };
    Kind kind = Kind::Unreadable;
    std::string bytes; ///< Of a text in UTF-8, or of a picture's file.
};

/// Reads a file as far as it can be shown; never follows a link, never waits for a pipe.
VersionContent readVersion(const std::string& path);

/// Reads versions on threads of their own: a server that does not answer must not stop the window. Such a thread is
/// left behind.
class VersionReader
{
public:
    using Came = std::function<void(const VersionContent&)>;

    /// `came` is called on the application's thread, unless the reader is gone or was told to drop it by then.
    void read(const std::string& path, Came came);
    /// What is under way will not come any more.
    void drop() { mRound = std::make_shared<int>(0); }

private:
    std::shared_ptr<int> mRound = std::make_shared<int>(0);
};

} // namespace braid::window
