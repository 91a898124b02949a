#pragma once

#include <memory>

#include "platform/bundle.h"
#include "platform/property_list_codec.h"

namespace platform
{

/// Bundles that are folders:
///
///     Contents/Info.plist                          "BundleName" and "BundleVersion"
///     Contents/Resources/<name>.<type>
///     Contents/Resources/<language>.lproj/<name>.<type>
///
/// Borrows the codec, also from the bundles it opens.
std::unique_ptr<Bundles> makeBundles(PropertyListCodec& codec);

} // namespace platform
