#pragma once

#include <string>
#include <vector>

#include "shared_state.h"

namespace roamer
{

/// The text of a key, null when there is none. Valid as long as the state's texts are.
const std::string* localizedText(const SharedState& state, const std::string& key);

/// Puts the values into the placeholders of a format: %@ takes the next value, %2$@ the second one, %% is a percent
/// sign. A placeholder without a value becomes empty. Raises platform::Failure(kInvalidArgument) when `format` is null;
/// `key` only names it in the reason.
std::string fillFormat(const std::string* format, const std::string& key, const std::vector<std::string>& values);

} // namespace roamer
