#pragma once

#include <string>
#include <vector>

#include "platform/distributed_notifications.h"

namespace fakes
{

class FakeDistributedNotifications final : public platform::DistributedNotifications
{
public:
    std::vector<std::string> posted;

    void post(const std::string& name) override { posted.push_back(name); }
};

} // namespace fakes
