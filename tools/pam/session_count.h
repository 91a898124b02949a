#pragma once

#include <string>

namespace roamer::pam
{

/// The open sessions of one user: a folder with a file for each, named after the process that opened it, which lives as
/// long as the session. Entries of processes that are gone are dropped, so that a crash does not count for ever.
class SessionCount
{
public:
    /// `folder` is made when missing, for root alone.
    SessionCount(std::string folder, unsigned uid);

    /// Adds this process's session. Whether it is now the only one; false when it cannot be counted.
    bool open();

    /// Takes this process's session away. Whether it was counted and none is left.
    bool close();

private:
    class Lock;

    bool isEmpty();
    std::string ownEntry() const;

    std::string mFolder;
};

} // namespace roamer::pam
