#pragma once

#include <memory>
#include <string>

#include "platform/hardware_registry.h"

namespace platform
{

/// The machine's own network interfaces. The primary one is "en0", else the first that is built in, in the order of
/// the buses. Interfaces that can be pulled out count only where there is no other, virtual ones never.
///
/// A development root (see developmentRoot) that has a folder sys/class/net plays the machine: the interfaces and their
/// addresses are then what its files say.
std::unique_ptr<HardwareRegistry> makeHardwareRegistry();

/// The machine that the files below `root`/sys describe.
std::unique_ptr<HardwareRegistry> makeHardwareRegistry(const std::string& root);

} // namespace platform
