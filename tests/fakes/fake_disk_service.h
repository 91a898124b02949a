#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/disk_service.h"

namespace fakes
{

class FakeDiskService final : public platform::DiskService
{
public:
    bool isPresent = true;
    std::set<std::string> mounted;
    std::vector<std::string> unmounted;    ///< Asked for, in order.
    std::function<void()> whileUnmounting; ///< What the test looks at then.

    std::variant<std::unique_ptr<Session>, Error> openSession() override
    {
        if (!isPresent) return Error{"no disk service"};
        return std::make_unique<FakeSession>(*this);
    }

private:
    struct FakeSession final : Session {
        explicit FakeSession(FakeDiskService& disks) : service(disks) {}
        std::variant<Disk, Error> diskAtMountPoint(const std::string& mountPoint) override
        {
            if (!service.mounted.contains(mountPoint)) return Error{"nothing is mounted there"};
            return Disk{mountPoint};
        }
        void requestForcedUnmount(const Disk& disk) override
        {
            service.unmounted.push_back(disk.mountPoint);
            if (service.whileUnmounting) service.whileUnmounting();
        }
        FakeDiskService& service;
    };
};

} // namespace fakes
