#pragma once

// What Shares knows of one share. For its own sources.

#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "shares.h"

namespace lobby
{

/// One thing to try a mount with.
struct Shares::Way {
    std::optional<Secret> password;
    std::optional<std::string> ticketCache;
};

struct Shares::Waiting {
    Ticket ticket = 0;
    Caller caller;
    Answer answer;
    Account account;
    platform::ServerShare place; ///< Not for a folder of this computer.
    std::string userName;
    std::optional<Secret> password; ///< Until the ways are found.
    std::vector<Way> ways;
    std::size_t nextWay = 0;
    platform::Timer timer;
    int dropped = 0; ///< The answer that the asker gets though the mount goes on for now; 0: none.
};

struct Shares::Hold {
    std::shared_ptr<platform::UniqueFd> process;
    std::int64_t started = 0;
    std::int64_t count = 0;
    std::unique_ptr<QSocketNotifier> notifier;
};

struct Shares::Share {
    std::string key;
    std::string url; ///< Without a password, for records and log lines.
    uid_t user = 0;
    bool isFolder = false; ///< A folder of this computer, which is there without a mount.
    std::string name;      ///< Of the mount point; "" when there is none.
    std::string mountAt;   ///< As everybody else knows it; "" unless it is mounted.
    std::optional<MountEntry> entry;
    bool isMounted = false;
    bool isStuck = false; ///< Could not be unmounted; waits for the next event.
    Work work = Work::None;
    std::unique_ptr<ChildTask> child;
    platform::Timer childLimit;
    std::list<Waiting> waiting;
    std::map<pid_t, Hold> holds;
};

} // namespace lobby
