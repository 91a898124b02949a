#pragma once

#include "status_words.h"

namespace roamer::session
{

/// What waits in the local home of the user that this process is, and whether the home is open to that user. A home
/// that nobody knows has nothing.
LeftOver leftOver();

} // namespace roamer::session
