#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "platform/property_list_codec.h"
#include "platform/user_notification.h"

/// What the agent and the program that shows an alert say to each other.
///
/// The agent starts the program without arguments, with its own environment and standard error. It writes one request
/// to the program's standard input and closes it; the program shows the alert, writes one answer to its standard output
/// and exits with status 0. Both are property-list dictionaries; the agent writes the XML form and reads either. There
/// is no time limit. A program that cannot show the alert (no display, a request that it does not understand) exits
/// with another status and writes nothing: whatever it wrote does not count then. When the agent goes away meanwhile,
/// the reader of its standard output is gone, and the program should take the alert down and exit.
///
/// Readers ignore keys that they do not know, so that keys can be added. A change that they must not ignore gets a
/// higher "version", which a reader refuses.
namespace platform::alert_protocol
{

/// Of request and answer: an integer, 1.
inline constexpr const char* kVersionKey = "version";
inline constexpr int kVersion = 1;

// The request. Texts that the alert does not have are left out. All are UTF-8 and may hold line breaks.

inline constexpr const char* kHeaderKey = "header";                   ///< A string: the line in bold.
inline constexpr const char* kMessageKey = "message";                 ///< A string: the text below it.
inline constexpr const char* kDefaultButtonKey = "defaultButton";     ///< A string; left out, the word is "OK".
inline constexpr const char* kAlternateButtonKey = "alternateButton"; ///< A string; left out, there is no such button.
inline constexpr const char* kOtherButtonKey = "otherButton";         ///< A string; left out, there is no such button.
inline constexpr const char* kCheckBoxTitlesKey = "checkBoxTitles";   ///< An array of strings, box 0 first.
/// A string: a product path, which the reader puts its system root in front of. A picture that cannot be read is left
/// out of the alert.
inline constexpr const char* kIconPathKey = "iconPath";
/// An integer. Low two bits the level: 0 stop, 1 note, 2 caution, 3 plain. Bit 8 + n: box n starts checked.
inline constexpr const char* kFlagsKey = "flags";

// The answer.

/// An integer. Low two bits: 0 default, 1 alternate, 2 other button, 3 closed without a choice. Bit 8 + n: box n was
/// checked.
inline constexpr const char* kResponseFlagsKey = "responseFlags";

roamer::Dictionary requestDictionary(const NotificationRequest& request);

/// The response flags in the bytes of an answer, or in words why they are none: no property list, another version, no
/// flags, or the flag of a button that the request does not have.
std::variant<std::uint32_t, std::string> readAnswer(PropertyListCodec& codec, std::span<const std::byte> bytes,
                                                    const NotificationRequest& request);

} // namespace platform::alert_protocol
