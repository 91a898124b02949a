#pragma once

#include <memory>

#include "platform/property_list_codec.h"

namespace platform
{

/// The codec for both published forms; stateless, so one serves every thread.
std::unique_ptr<PropertyListCodec> makePropertyListCodec();

} // namespace platform
