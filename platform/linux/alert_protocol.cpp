#include "alert_protocol.h"

#include <limits>
#include <optional>

#include "util/typed_reads.h"

namespace platform::alert_protocol
{

namespace
{

enum Button : std::uint32_t { kDefault = 0, kAlternate = 1, kOther = 2, kClosed = 3 };
constexpr std::uint32_t kButtonMask = 3;

bool hasButton(const NotificationRequest& request, std::uint32_t button)
{
    switch (button) {
    case kAlternate:
        return request.alternateButton.has_value();
    case kOther:
        return request.otherButton.has_value();
    default:
        return true;
    }
}

void addText(roamer::Dictionary& dictionary, const char* key, const std::optional<std::string>& text)
{
    if (text) dictionary[key] = *text;
}

} // namespace

roamer::Dictionary requestDictionary(const NotificationRequest& request)
{
    roamer::Dictionary dictionary{{kVersionKey, kVersion}, {kFlagsKey, request.flags}};
    addText(dictionary, kHeaderKey, request.header);
    addText(dictionary, kMessageKey, request.message);
    addText(dictionary, kDefaultButtonKey, request.defaultButton);
    addText(dictionary, kAlternateButtonKey, request.alternateButton);
    addText(dictionary, kOtherButtonKey, request.otherButton);
    addText(dictionary, kIconPathKey, request.iconPath);
    if (request.checkBox) dictionary[kCheckBoxTitlesKey] = roamer::Array{*request.checkBox};
    return dictionary;
}

std::variant<std::uint32_t, std::string> readAnswer(PropertyListCodec& codec, std::span<const std::byte> bytes,
                                                    const NotificationRequest& request)
{
    const auto parsed = codec.parse(bytes);
    if (const auto* error = std::get_if<PropertyListCodec::Error>(&parsed)) return "unreadable answer: " + error->text;
    const auto* answer = std::get<roamer::PropertyList>(parsed).as<roamer::Dictionary>();
    if (answer == nullptr) return "the answer is no dictionary";
    const auto* version = roamer::objectForKey<std::int64_t>(*answer, kVersionKey);
    if (version == nullptr || *version != kVersion) return "the answer is of another version";
    const auto* flags = roamer::objectForKey<std::int64_t>(*answer, kResponseFlagsKey);
    if (flags == nullptr || *flags < 0 || *flags > std::numeric_limits<std::uint32_t>::max()) {
        return "the answer has no response flags";
    }
    const auto response = static_cast<std::uint32_t>(*flags);
    if (!hasButton(request, response & kButtonMask)) return "the answer is a button that was not offered";
    return response;
}

} // namespace platform::alert_protocol
