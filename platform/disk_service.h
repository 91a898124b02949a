#pragma once

#include <memory>
#include <string>
#include <variant>

namespace platform
{

/// Unmounting volumes.
class DiskService
{
public:
    struct Error {
        std::string text;
    };
    struct Disk {
        std::string mountPoint;
    };
    class Session
    {
    public:
        virtual ~Session() = default;
        /// The volume that is mounted at the path or, for a share that is its own folder, held there.
        virtual std::variant<Disk, Error> diskAtMountPoint(const std::string& mountPoint) = 0;
        /// Gives up this process's hold; the last hold of what this system mounted unmounts it by force. Does not wait.
        virtual void requestForcedUnmount(const Disk& disk) = 0;
    };
    virtual ~DiskService() = default;
    virtual std::variant<std::unique_ptr<Session>, Error> openSession() = 0;
};

} // namespace platform
