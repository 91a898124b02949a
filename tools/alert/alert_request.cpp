#include "alert_request.h"

#include "platform/linux/alert_protocol.h"
#include "util/typed_reads.h"

namespace windows
{

namespace
{

using namespace platform::alert_protocol;
using roamer::objectForKey;

constexpr std::uint32_t kLevelMask = 3;
constexpr unsigned kFirstCheckBoxBit = 8;

/// More of them would not fit the flags.
constexpr std::size_t kMostCheckBoxes = 8;

void take(std::string& text, const roamer::Dictionary& request, const char* key)
{
    if (const auto* given = objectForKey<std::string>(request, key)) text = *given;
}

std::uint32_t checkBoxBit(std::size_t box)
{
    return std::uint32_t{1} << (kFirstCheckBoxBit + box);
}

} // namespace

std::variant<AlertRequest, std::string> readAlertRequest(const roamer::PropertyList& value)
{
    const auto* request = value.as<roamer::Dictionary>();
    if (request == nullptr) return "the request is no dictionary";
    const auto* version = objectForKey<std::int64_t>(*request, kVersionKey);
    if (version == nullptr || *version != kVersion) return "the request is of another version";

    AlertRequest alert;
    take(alert.header, *request, kHeaderKey);
    take(alert.message, *request, kMessageKey);
    take(alert.defaultButton, *request, kDefaultButtonKey);
    take(alert.alternateButton, *request, kAlternateButtonKey);
    take(alert.otherButton, *request, kOtherButtonKey);
    take(alert.iconPath, *request, kIconPathKey);

    const auto* flags = objectForKey<std::int64_t>(*request, kFlagsKey);
    const auto bits = flags != nullptr ? static_cast<std::uint32_t>(*flags) : kLevelMask;
    alert.level = static_cast<AlertRequest::Level>(bits & kLevelMask);
    if (const auto* titles = objectForKey<roamer::Array>(*request, kCheckBoxTitlesKey)) {
        for (const auto& title : *titles) {
            const auto* text = title.as<std::string>();
            const auto box = alert.checkBoxes.size();
            if (text != nullptr && box < kMostCheckBoxes) {
                alert.checkBoxes.push_back({*text, (bits & checkBoxBit(box)) != 0});
            }
        }
    }
    return alert;
}

roamer::Dictionary alertAnswer(AlertChoice choice, const std::vector<bool>& checked)
{
    auto flags = static_cast<std::uint32_t>(choice);
    for (std::size_t box = 0; box < checked.size(); ++box)
        if (checked[box]) flags |= checkBoxBit(box);
    return {{kVersionKey, kVersion}, {kResponseFlagsKey, flags}};
}

} // namespace windows
