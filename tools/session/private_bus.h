#pragma once

#include <string>
#include <variant>

#include "user_process.h"

namespace roamer::session
{

/// A message bus that only the user's programs can reach and that starts nothing by itself. It ends when this goes, and
/// with this process; whoever served on it ends with it.
class PrivateBus
{
public:
    /// The sockets lie in `folder`, which the user owns. In words why there is no bus.
    static std::variant<PrivateBus, std::string> start(const platform::UserEntry& user, const std::string& folder);

    const std::string& address() const { return mAddress; }

private:
    PrivateBus(UserProcess process, std::string address) : mProcess(std::move(process)), mAddress(std::move(address)) {}

    UserProcess mProcess;
    std::string mAddress;
};

} // namespace roamer::session
