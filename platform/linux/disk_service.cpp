#include "disk_service.h"

#include "lobby_client.h"
#include "share_url.h"

namespace platform
{

namespace
{

class HoldSession final : public DiskService::Session
{
public:
    HoldSession(ShareHolds& holds, const LobbyClient& lobby) : mHolds(holds), mLobby(lobby) {}

    std::variant<DiskService::Disk, DiskService::Error> diskAtMountPoint(const std::string& mountPoint) override
    {
        const std::string path = sharePath(mountPoint);
        if (mHolds.isHeld(path) || mLobby.isHeld(path)) return DiskService::Disk{path};
        return DiskService::Error{"this process holds no share that is mounted there"};
    }

    void requestForcedUnmount(const DiskService::Disk& disk) override
    {
        // A share that is its own folder was never mounted; any other goes with its last hold.
        if (!mHolds.giveUp(disk.mountPoint)) mLobby.giveUp(disk.mountPoint);
    }

private:
    ShareHolds& mHolds;
    LobbyClient mLobby;
};

class HoldDiskService final : public DiskService
{
public:
    HoldDiskService(ShareHolds& holds, MessagePort& port, PropertyListCodec& codec) : mHolds(holds), mLobby(port, codec)
    {
    }

    std::variant<std::unique_ptr<Session>, Error> openSession() override
    {
        return std::make_unique<HoldSession>(mHolds, mLobby);
    }

private:
    ShareHolds& mHolds;
    LobbyClient mLobby;
};

} // namespace

std::unique_ptr<DiskService> makeDiskService(ShareHolds& holds, MessagePort& port, PropertyListCodec& codec)
{
    return std::make_unique<HoldDiskService>(holds, port, codec);
}

} // namespace platform
