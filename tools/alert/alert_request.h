#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "values/property_list.h"

namespace windows
{

/// What an alert shows: the request of platform/linux/alert_protocol.h as the program that shows it sees it. Empty
/// texts are left out.
struct AlertRequest {
    struct CheckBox {
        std::string title;
        bool isChecked = false;
    };
    enum class Level { Stop = 0, Note = 1, Caution = 2, Plain = 3 };

    std::string header;
    std::string message;
    std::string defaultButton = "OK";
    std::string alternateButton;
    std::string otherButton;
    std::vector<CheckBox> checkBoxes;
    std::string iconPath; ///< A product path.
    Level level = Level::Plain;
};

/// How an alert ended, with the numbers that the answer has for it.
enum class AlertChoice : std::uint32_t { Default = 0, Alternate = 1, Other = 2, Closed = 3 };

/// In words why it is none: no dictionary, or one of another version.
std::variant<AlertRequest, std::string> readAlertRequest(const roamer::PropertyList& value);

/// `checked` has a value for each checkbox.
roamer::Dictionary alertAnswer(AlertChoice choice, const std::vector<bool>& checked);

} // namespace windows
