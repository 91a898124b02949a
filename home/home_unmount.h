#pragma once

#include <optional>
#include <string>

#include "platform/disk_service.h"
#include "platform/effective_user.h"

namespace roamer
{

/// Gives the share of the network home back after the work.
class HomeUnmount
{
public:
    /// Borrows both.
    HomeUnmount(platform::DiskService& disks, platform::EffectiveUser& user);

    /// Asks for a forced unmount of the volume at `mountPoint` and does not wait for it; acts as user 0 where the
    /// process may. Always 0: a volume that cannot be found is reported, a null path is nothing to do.
    long unmountHome(const std::optional<std::string>& mountPoint);

private:
    platform::DiskService& mDisks;
    platform::EffectiveUser& mUser;
};

} // namespace roamer
