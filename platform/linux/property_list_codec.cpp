#include "property_list_codec.h"

#include <cmath>

#include "property_list_forms.h"
#include "util/utf_text.h"

namespace platform
{

namespace
{

constexpr std::chrono::sys_seconds kReferenceInstant =
    std::chrono::sys_days{std::chrono::year{2001} / std::chrono::January / 1};
constexpr double kNanosecondsPerSecond = 1e9;
static_assert(std::is_same_v<roamer::Date::duration, std::chrono::nanoseconds>);

/// Walks a value as a writer would, within the limits of the readers.
class WritableCheck
{
public:
    std::optional<std::string> find(const roamer::PropertyList& value, std::size_t depth)
    {
        if (++mValues > kMaxPropertyListValues) return "more than a million values";
        if (const auto* text = value.as<std::string>()) return findInText(*text);
        if (const auto* data = value.as<roamer::Data>()) return addContent(data->size());
        if (const auto* array = value.as<roamer::Array>()) {
            if (depth >= kMaxPropertyListDepth) return kTooDeep;
            for (const auto& item : *array)
                if (auto problem = find(item, depth + 1)) return problem;
        } else if (const auto* dictionary = value.as<roamer::Dictionary>()) {
            if (depth >= kMaxPropertyListDepth) return kTooDeep;
            for (const auto& [key, item] : *dictionary) {
                if (auto problem = findInText(key)) return problem;
                if (auto problem = find(item, depth + 1)) return problem;
            }
        }
        return std::nullopt;
    }

private:
    static constexpr const char* kTooDeep = "containers nested more than 512 deep";

    std::optional<std::string> findInText(const std::string& text)
    {
        if (!roamer::isUtf8(text)) return "a string that is not UTF-8";
        return addContent(text.size());
    }

    std::optional<std::string> addContent(std::size_t size)
    {
        mContentBytes += size;
        if (mContentBytes > kMaxPropertyListContentBytes) return "more than 64 MiB of content";
        return std::nullopt;
    }

    std::size_t mValues = 0;
    std::size_t mContentBytes = 0;
};

class Codec final : public PropertyListCodec
{
public:
    ParsedPropertyList parse(std::span<const std::byte> bytes) override
    {
        if (bytes.empty()) return Error{"the property list is empty"};
        if (bytes.size() > kMaxPropertyListBytes) return Error{"the property list is larger than 64 MiB"};
        return isBinaryPropertyList(bytes) ? readBinaryPropertyList(bytes) : readXmlPropertyList(bytes);
    }

    WrittenPropertyList serialise(const roamer::PropertyList& value, Format format) override
    {
        if (auto problem = findUnwritable(value)) return Error{"the value cannot be written: " + *problem};
        auto result = format == Format::Binary ? writeBinaryPropertyList(value) : writeXmlPropertyList(value);
        const auto* bytes = std::get_if<std::vector<std::byte>>(&result);
        if (bytes != nullptr && bytes->size() > kMaxPropertyListBytes) {
            return Error{"the written form is larger than 64 MiB"};
        }
        return result;
    }
};

} // namespace

std::optional<std::string> findUnwritable(const roamer::PropertyList& value)
{
    return WritableCheck().find(value, 0);
}

std::optional<roamer::Date> dateFromReferenceSeconds(double seconds)
{
    constexpr double kReferenceUnixSeconds = static_cast<double>(kReferenceInstant.time_since_epoch().count());
    constexpr double kLimitSeconds = 9.2e9; // a Date counts nanoseconds in 64 bits
    if (!(std::abs(seconds + kReferenceUnixSeconds) < kLimitSeconds)) return std::nullopt;
    const double whole = std::floor(seconds);
    const auto nanoseconds = std::llround((seconds - whole) * kNanosecondsPerSecond);
    return roamer::Date(kReferenceInstant) + std::chrono::seconds(static_cast<std::int64_t>(whole)) +
           std::chrono::nanoseconds(nanoseconds);
}

double referenceSecondsFromDate(roamer::Date date)
{
    const auto whole = std::chrono::floor<std::chrono::seconds>(date);
    return static_cast<double>((whole - kReferenceInstant).count()) +
           static_cast<double>((date - whole).count()) / kNanosecondsPerSecond;
}

std::unique_ptr<PropertyListCodec> makePropertyListCodec()
{
    return std::make_unique<Codec>();
}

} // namespace platform
