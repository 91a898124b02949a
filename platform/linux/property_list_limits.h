#pragma once

#include <cstddef>

namespace platform
{

// What one property list may hold, in either form and direction. Far above every real preference file, low enough that
// a hostile one costs a moment and some hundred megabytes at worst. What the writers produce, the readers take.
inline constexpr std::size_t kMaxPropertyListBytes = std::size_t{64} << 20;
inline constexpr std::size_t kMaxPropertyListDepth = 512;        ///< Containers within containers.
inline constexpr std::size_t kMaxPropertyListValues = 1'000'000; ///< Shared objects count at each use.
/// Characters and data of all values together. The binary form can refer to one long string a million times.
inline constexpr std::size_t kMaxPropertyListContentBytes = std::size_t{64} << 20;

} // namespace platform
