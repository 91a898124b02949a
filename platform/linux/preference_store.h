#pragma once

#include <memory>

#include "platform/preference_store.h"
#include "platform/property_list_codec.h"

namespace platform
{

/// Preference files on the real disk. Borrows the codec.
std::unique_ptr<PreferenceStore> makePreferenceStore(PropertyListCodec& codec);

} // namespace platform
