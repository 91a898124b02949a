#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <variant>

#include "platform/message_port.h"
#include "platform/property_list_codec.h"

namespace braid::agent
{

/// The shares that the login session manager mounts for this user. Blocks; usable from any thread.
class Shares
{
public:
    /// One hold on a share, given up when it goes. While any process holds a share it stays mounted.
    class Hold
    {
    public:
        Hold(Shares& shares, std::string mountPoint) : mShares(shares), mMountPoint(std::move(mountPoint)) {}
        ~Hold() { mShares.giveUp(mMountPoint); }
        Hold(const Hold&) = delete;
        Hold& operator=(const Hold&) = delete;
        const std::string& mountPoint() const { return mMountPoint; }

    private:
        Shares& mShares;
        std::string mMountPoint;
    };

    /// Borrows both.
    Shares(platform::MessagePort& port, platform::PropertyListCodec& codec) : mPort(port), mCodec(codec) {}

    /// Mounts the share with the credentials of the login, or says with which error value it could not be.
    std::variant<std::unique_ptr<Hold>, std::int32_t> mount(const std::string& url);

    /// Holds the share that the path lies in; null when it lies in none that the manager knows: then nobody takes it
    /// away either.
    std::unique_ptr<Hold> hold(const std::string& path);

private:
    void giveUp(const std::string& mountPoint);

    platform::MessagePort& mPort;
    platform::PropertyListCodec& mCodec;
};

} // namespace braid::agent
