#include "disk_service.h"

#include <chrono>
#include <fstream>
#include <sstream>

#include "lobby_protocol.h"
#include "share_url.h"
#include "util/lobby_notify.h"

namespace platform
{

namespace
{

// The manager answers from memory; a longer silence means that it hangs, and nobody should wait for that.
constexpr std::chrono::seconds kManagerPatience{2};

/// Fields of /proc/self/mountinfo write blanks and the like as \ and three octal digits.
std::string unescaped(const std::string& field)
{
    std::string text;
    for (std::size_t i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + 3 < field.size()) {
            text += static_cast<char>((field[i + 1] - '0') * 64 + (field[i + 2] - '0') * 8 + (field[i + 3] - '0'));
            i += 3;
        } else {
            text += field[i];
        }
    }
    return text;
}

bool isMountPoint(const std::string& path)
{
    std::ifstream table("/proc/self/mountinfo");
    for (std::string line; std::getline(table, line);) {
        std::istringstream fields(line);
        std::string mountId, parentId, device, root, mountPoint;
        if (fields >> mountId >> parentId >> device >> root >> mountPoint && unescaped(mountPoint) == path) return true;
    }
    return false;
}

class HoldSession final : public DiskService::Session
{
public:
    HoldSession(ShareHolds& holds, MessagePort& port, PropertyListCodec& codec)
        : mHolds(holds), mPort(port), mCodec(codec)
    {
    }

    std::variant<DiskService::Disk, DiskService::Error> diskAtMountPoint(const std::string& mountPoint) override
    {
        const std::string path = sharePath(mountPoint);
        if (mHolds.isHeld(path) || managerSays(kLobbyIsHeldMessage, path)) return DiskService::Disk{path};
        if (isMountPoint(path)) return DiskService::Error{"what is mounted there was not mounted by this system"};
        return DiskService::Error{"nothing is mounted there"};
    }

    void requestForcedUnmount(const DiskService::Disk& disk) override
    {
        // A held share is its own folder: giving it up is all.
        if (!mHolds.giveUp(disk.mountPoint)) managerSays(kLobbyGiveUpMessage, disk.mountPoint);
    }

private:
    /// Whether the login session manager is there and answers without an error.
    bool managerSays(std::int32_t message, const std::string& path)
    {
        const auto request =
            mCodec.serialise(roamer::Dictionary{{roamer::kLobbyMountAtKey, path}}, PropertyListCodec::Format::Xml);
        const auto* body = std::get_if<std::vector<std::byte>>(&request);
        if (body == nullptr) return false;
        const auto reply = mPort.request(roamer::kLobbyNotifyPort, message, *body, kManagerPatience, kManagerPatience);
        if (!reply || !reply->data) return false;
        const auto answer = mCodec.parse(*reply->data);
        const auto* list = std::get_if<roamer::PropertyList>(&answer);
        const auto* dictionary = list != nullptr ? list->as<roamer::Dictionary>() : nullptr;
        if (dictionary == nullptr) return false;
        const auto error = dictionary->find(roamer::kLobbyErrorKey);
        return error != dictionary->end() && error->second.integerReading() == 0;
    }

    ShareHolds& mHolds;
    MessagePort& mPort;
    PropertyListCodec& mCodec;
};

class HoldDiskService final : public DiskService
{
public:
    HoldDiskService(ShareHolds& holds, MessagePort& port, PropertyListCodec& codec)
        : mHolds(holds), mPort(port), mCodec(codec)
    {
    }

    std::variant<std::unique_ptr<Session>, Error> openSession() override
    {
        return std::make_unique<HoldSession>(mHolds, mPort, mCodec);
    }

private:
    ShareHolds& mHolds;
    MessagePort& mPort;
    PropertyListCodec& mCodec;
};

} // namespace

std::unique_ptr<DiskService> makeDiskService(ShareHolds& holds, MessagePort& port, PropertyListCodec& codec)
{
    return std::make_unique<HoldDiskService>(holds, port, codec);
}

} // namespace platform
