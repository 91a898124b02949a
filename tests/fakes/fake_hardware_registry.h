#pragma once

#include "platform/hardware_registry.h"

namespace fakes
{

/// One address, or the status that stands in the way of it.
class FakeHardwareRegistry final : public platform::HardwareRegistry
{
public:
    EthernetAddress answer{0, {0x00, 0x1b, 0x63, 0x0a, 0xff, 0x02}};
    int lookups = 0;

    EthernetAddress primaryEthernetAddress() override
    {
        ++lookups;
        return answer;
    }
};

} // namespace fakes
