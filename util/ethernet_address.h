#pragma once

#include <optional>
#include <string>

#include "platform/hardware_registry.h"

namespace roamer
{

/// This computer's name in the lock files of network homes: the address of its primary ethernet interface as 17
/// characters, such as 00:1b:63:0a:ff:02. One object per process.
class EthernetAddress
{
public:
    explicit EthernetAddress(platform::HardwareRegistry& hardware);

    /// Looked up at the first call and the same ever after. A computer whose address cannot be read reports so once
    /// and goes by 11:11:11:11:11:11.
    std::string AmruEthernetAddress();

    /// Looks the address up. Returns 0 on success; otherwise `text` is left alone.
    int GetEthernetAddress(std::string& text);

private:
    platform::HardwareRegistry& mHardware;
    std::optional<std::string> mAddress;
};

} // namespace roamer
