#pragma once

/// What the agent and the program that draws its progress window say to each other.
///
/// The agent starts the program ("roamer-window") with its own environment, writes to its standard input and reads its
/// standard output: one JSON object a line, in UTF-8, both ways. The program greets once the display answered, and
/// exits with failure when none does. It draws one window in its life, and ends when its standard input does, at once.
/// Its end at any other time means that the display is lost.
///
/// The agent sends an update only after the last one has been applied, and the program lets some time pass before it
/// says so. What changes meanwhile goes into the next update, the last value of each property: however often the agent
/// changes something, neither side has more than two updates in memory.
///
/// Frames are [x, y, width, height] without the window's decorations. The origin is the lower left corner of the first
/// screen, y grows upwards, the unit is the toolkit's pixel.
namespace platform::window_protocol
{

// From the agent. Each message has exactly one of these three.

inline constexpr const char* kLoad = "load";     ///< A layout's name. Answered by a report, after kLoaded.
inline constexpr const char* kKeys = "keys";     ///< True: which modifier keys are down? Answered by the same key.
inline constexpr const char* kUpdate = "update"; ///< A serial number, with the properties that changed.

// Properties of an update. They are applied in this order.

inline constexpr const char* kWindowTitle = "windowTitle";
inline constexpr const char* kImage = "image"; ///< A product path; empty: no picture.
inline constexpr const char* kTopMessage = "topMessage";
inline constexpr const char* kMiddleMessage = "middleMessage";
inline constexpr const char* kBottomMessage = "bottomMessage";
inline constexpr const char* kButtonTitle = "buttonTitle";
inline constexpr const char* kButtonEnabled = "buttonEnabled";
inline constexpr const char* kButtonHidden = "buttonHidden";
inline constexpr const char* kBarIndeterminate = "barIndeterminate";
inline constexpr const char* kBarAnimated = "barAnimated";
inline constexpr const char* kBarValue = "barValue";     ///< 0.0 to 1.0
inline constexpr const char* kMinimumSize = "minimum";   ///< [width, height]
inline constexpr const char* kMaximumSize = "maximum";   ///< [width, height]
inline constexpr const char* kAnimatesFrame = "animate"; ///< Whether the frame of the same update is moved to.
inline constexpr const char* kFrame = "frame";
inline constexpr const char* kLevel = "level"; ///< Above 0: the window stays above those of others.
inline constexpr const char* kMinimized = "minimized";
inline constexpr const char* kVisible = "visible";
inline constexpr const char* kActivate = "activate"; ///< Any value: to the front, with the keyboard.

// From the program.

inline constexpr const char* kHello = "hello"; ///< kVersion, with the screens. The first line.
inline constexpr int kVersion = 1;
inline constexpr const char* kLoaded = "loaded"; ///< Whether the layout was.
/// True, in a line with all of the following. Sent after each update, and when the person changed something.
inline constexpr const char* kReport = "report";
inline constexpr const char* kApplied = "applied"; ///< The serial number of the last update; 0: none yet.
inline constexpr const char* kActive = "active";   ///< Whether the window has the keyboard.
inline constexpr const char* kButtonWidth = "buttonWidth";
inline constexpr const char* kScreens = "screens"; ///< The frames, the first screen's first. Also with kHello.
// A report also has kFrame and kMinimized.

/// What the person did: one of these values, with the two modifier keys at that moment.
inline constexpr const char* kEvent = "event";
inline constexpr const char* kCancelEvent = "cancel";
inline constexpr const char* kCancelAllEvent = "cancelAll";
inline constexpr const char* kCloseEvent = "close";

inline constexpr const char* kOptionKey = "option"; ///< Alt
inline constexpr const char* kShiftKey = "shift";

/// No honest line is longer, in bytes.
inline constexpr int kLongestLine = 256 * 1024;

} // namespace platform::window_protocol
