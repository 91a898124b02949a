#include "home_unmount.h"

#include "util/report.h"

namespace roamer
{

long HomeUnmount::unmountHome(const std::optional<std::string>& mountPoint)
{
    if (!mountPoint) return 0;
    const bool becomesRoot = mUser.effectiveUid() != 0 && mUser.realUid() == 0;
    const auto root = becomesRoot ? mUser.switchTo(0) : platform::EffectiveUser::Guard();

    auto opened = mDisks.openSession();
    if (const auto* error = std::get_if<platform::DiskService::Error>(&opened)) {
        report("Pavo.unmountHome(): no session with the disk service: " + error->text);
        return 0;
    }
    auto& session = *std::get<std::unique_ptr<platform::DiskService::Session>>(opened);
    const auto found = session.diskAtMountPoint(*mountPoint);
    if (const auto* error = std::get_if<platform::DiskService::Error>(&found)) {
        report("Pavo.unmountHome() \"" + *mountPoint + "\": " + error->text);
        return 0;
    }
    session.requestForcedUnmount(std::get<platform::DiskService::Disk>(found));
    return 0;
}

HomeUnmount::HomeUnmount(platform::DiskService& disks, platform::EffectiveUser& user) : mDisks(disks), mUser(user) {}

} // namespace roamer
