#pragma once

namespace windows
{

/// Looks for a display that lets this process in, before the toolkit is loaded: the toolkit ends a process that has
/// none. Points the toolkit at what was found (X first, since only there a window may choose its place) and returns
/// true. A platform that QT_QPA_PLATFORM asks for and that needs no display is taken as it is.
///
/// A display that does not answer within ten seconds ends the process by a signal.
bool findDisplay();

/// The display has answered and the toolkit runs: takes back the time limit.
void displayIsUp();

/// The toolkit refuses to run with two identities: becomes the effective user and group altogether. False when that is
/// not allowed.
bool becomeEffectiveUser();

} // namespace windows
