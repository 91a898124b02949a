#pragma once

#include <array>
#include <cstdint>

namespace platform
{

/// What the machine knows of its hardware.
class HardwareRegistry
{
public:
    struct EthernetAddress {
        int status = 0; ///< 0 on success, kNoEthernetInterface, or the system's own error.
        std::array<std::uint8_t, 6> bytes{};
    };

    virtual ~HardwareRegistry() = default;

    /// The address that the maker of the primary interface gave it: the same after every restart, whatever address the
    /// interface uses at the moment, connected or not. Why there is none is printed on standard output.
    virtual EthernetAddress primaryEthernetAddress() = 0;
};

inline constexpr int kNoEthernetInterface = 5;

} // namespace platform
