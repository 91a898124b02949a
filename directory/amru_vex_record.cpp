#include "amru_vex_record.h"

#include <cstddef>
#include <set>
#include <utility>
#include <variant>

#include "record_attributes.h"
#include "util/debug_log.h"
#include "util/property_list_text.h"
#include "util/typed_reads.h"

namespace roamer
{

namespace
{

Data bytesOf(const std::string& text)
{
    const auto* begin = reinterpret_cast<const std::byte*>(text.data());
    return {begin, begin + text.size()};
}

const char* typeName(const PropertyList& value)
{
    struct Visitor {
        const char* operator()(const Dictionary&) const { return "dictionary"; }
        const char* operator()(const Array&) const { return "array"; }
        const char* operator()(const std::string&) const { return "string"; }
        const char* operator()(std::int64_t) const { return "number"; }
        const char* operator()(double) const { return "number"; }
        const char* operator()(bool) const { return "boolean"; }
        const char* operator()(const Date&) const { return "date"; }
        const char* operator()(const Data&) const { return "data"; }
    };
    return std::visit(Visitor{}, value.value());
}

/// Overrides also come out of texts in other records, where nobody saw to it that every value is an array.
std::optional<Dictionary> withArrays(std::optional<Dictionary> values)
{
    if (!values) return values;
    for (auto& [attribute, value] : *values) {
        if (value.as<Array>() == nullptr) value = Array{std::move(value)};
    }
    return values;
}

/// Which attributes a list of attribute names asks for.
class Selection
{
public:
    explicit Selection(const std::optional<std::vector<std::string>>& attributes)
    {
        if (attributes) mNamed.insert(attributes->begin(), attributes->end());
        const bool all = !attributes || mNamed.contains(kAllAttributes);
        mStandard = all || mNamed.contains(kAllStandardAttributes);
        mNative = all || mNamed.contains(kAllNativeAttributes);
    }

    bool holds(const std::string& attribute) const
    {
        return (mStandard && attribute.starts_with(kStandardAttributePrefix)) ||
               (mNative && attribute.starts_with(kNativeAttributePrefix)) || mNamed.contains(attribute);
    }

private:
    std::set<std::string> mNamed;
    bool mStandard = false;
    bool mNative = false;
};

} // namespace

AmruVEXRecord::AmruVEXRecord(DirectoryContext& context, Record record, std::optional<Dictionary> overrideValues)
    : mContext(&context), mRecord(std::move(record)), mOverride(withArrays(std::move(overrideValues)))
{
}

std::optional<AmruVEXRecord> AmruVEXRecord::vexrecordWithRecord(DirectoryContext& context, Record record,
                                                                std::optional<Dictionary> withOverride)
{
    if (record == nullptr && !withOverride) return std::nullopt;
    return AmruVEXRecord(context, std::move(record), std::move(withOverride));
}

std::optional<AmruVEXRecord> AmruVEXRecord::vexrecordWithRecord(DirectoryContext& context, Record record)
{
    return vexrecordWithRecord(context, std::move(record), std::nullopt);
}

std::optional<AmruVEXRecord> AmruVEXRecord::vexrecordWithOverride(DirectoryContext& context,
                                                                  std::optional<Dictionary> overrideValues)
{
    return vexrecordWithRecord(context, nullptr, std::move(overrideValues));
}

const Array* AmruVEXRecord::overrideValues(const std::string& attribute) const
{
    if (!mOverride) return nullptr;
    const auto item = mOverride->find(attribute);
    return item != mOverride->end() ? item->second.as<Array>() : nullptr;
}

AmruVEXRecord::String AmruVEXRecord::ownText(const char* attribute,
                                             std::string (platform::DirectoryRecord::*ofRecord)() const) const
{
    if (const auto* values = overrideValues(attribute); values != nullptr && !values->empty()) {
        const auto* text = values->front().as<std::string>();
        return text != nullptr ? String(*text) : std::nullopt;
    }
    return mRecord != nullptr ? String((mRecord.get()->*ofRecord)()) : std::nullopt;
}

AmruVEXRecord::String AmruVEXRecord::recordType() const
{
    return ownText(kRecordTypeAttribute, &platform::DirectoryRecord::recordType);
}

AmruVEXRecord::String AmruVEXRecord::recordName() const
{
    return ownText(kRecordNameAttribute, &platform::DirectoryRecord::recordName);
}

AmruVEXRecord::Values AmruVEXRecord::valuesForAttribute(const std::string& attribute) const
{
    if (const auto* values = overrideValues(attribute)) return values->empty() ? std::nullopt : Values(*values);
    return mRecord != nullptr ? mRecord->valuesForAttribute(attribute) : std::nullopt;
}

std::optional<Dictionary>
AmruVEXRecord::recordDetailsForAttributes(const std::optional<std::vector<std::string>>& attributes) const
{
    auto details = mRecord != nullptr ? mRecord->recordDetailsForAttributes(attributes) : std::nullopt;
    if (!mOverride) return details;

    const Selection selection(attributes);
    bool merged = false;
    for (const auto& [attribute, values] : *mOverride) {
        if (!selection.holds(attribute)) continue;
        merged = true;
        if (!details) details.emplace();
        if (values.as<Array>()->empty()) {
            details->erase(attribute);
        } else {
            (*details)[attribute] = values;
        }
    }
    // Nothing left is null, but what the directory itself answered stands as it is.
    if (merged && details->empty()) return std::nullopt;
    return details;
}

std::optional<Dictionary> AmruVEXRecord::recordDetailsForAttribute(const String& attribute) const
{
    if (!attribute) return recordDetailsForAttributes(std::nullopt);
    return recordDetailsForAttributes(std::vector<std::string>{*attribute});
}

AmruVEXRecord::Values AmruVEXRecord::stringValuesForAttribute(const std::string& attribute) const
{
    auto values = valuesForAttribute(attribute);
    if (!values) return std::nullopt;
    std::erase_if(*values, [](const PropertyList& value) { return value.as<std::string>() == nullptr; });
    return values->empty() ? std::nullopt : values;
}

AmruVEXRecord::Values AmruVEXRecord::dataValuesForAttribute(const std::string& attribute) const
{
    auto values = valuesForAttribute(attribute);
    if (!values) return std::nullopt;
    for (auto& value : *values) {
        if (const auto* text = value.as<std::string>()) value = bytesOf(*text);
    }
    return values;
}

AmruVEXRecord::Values AmruVEXRecord::uniqueStringValuesForAttribute(const std::string& attribute) const
{
    auto values = stringValuesForAttribute(attribute);
    if (!values) return std::nullopt;
    std::set<std::string> seen;
    std::erase_if(*values,
                  [&seen](const PropertyList& value) { return !seen.insert(*value.as<std::string>()).second; });
    return values;
}

std::optional<PropertyList> AmruVEXRecord::firstValueForAttribute(const std::string& attribute) const
{
    auto values = valuesForAttribute(attribute);
    if (!values || values->empty()) return std::nullopt;
    return std::move(values->front());
}

AmruVEXRecord::String AmruVEXRecord::firstValueForAttributeIfString(const std::string& attribute) const
{
    return firstValueForAttribute<std::string>(attribute);
}

std::optional<Data> AmruVEXRecord::firstValueForAttributeAsData(const std::string& attribute) const
{
    const auto value = firstValueForAttribute(attribute);
    if (!value) return std::nullopt;
    if (const auto* data = value->as<Data>()) return *data;
    if (const auto* text = value->as<std::string>()) return bytesOf(*text);
    return std::nullopt;
}

std::optional<PropertyList> AmruVEXRecord::parsed(const PropertyList& value) const
{
    if (const auto* text = value.as<std::string>()) return propertyListSafe(mContext->codec, *text);
    if (const auto* data = value.as<Data>()) return propertyListSafe(mContext->codec, *data);
    return std::nullopt;
}

std::optional<PropertyList> AmruVEXRecord::firstValueForAttributeIfXMLPList(const std::string& attribute) const
{
    const auto value = firstValueForAttribute(attribute);
    return value ? parsed(*value) : std::nullopt;
}

AmruVEXRecord::Values AmruVEXRecord::firstValueForAttributeIfXMLArray(const std::string& attribute) const
{
    const auto value = firstValueForAttributeIfXMLPList(attribute);
    const auto* array = value ? value->as<Array>() : nullptr;
    return array != nullptr ? Values(*array) : std::nullopt;
}

std::optional<Dictionary> AmruVEXRecord::firstValueForAttributeIfXMLDictionary(const std::string& attribute) const
{
    const auto value = firstValueForAttributeIfXMLPList(attribute);
    const auto* dictionary = value ? value->as<Dictionary>() : nullptr;
    return dictionary != nullptr ? std::optional<Dictionary>(*dictionary) : std::nullopt;
}

bool AmruVEXRecord::boolForAttribute(const std::string& attribute, bool withDefault) const
{
    const auto value = firstValueForAttribute(attribute);
    return boolWithDefault(value ? &*value : nullptr, withDefault);
}

void AmruVEXRecord::store(const std::string& attribute, Array values) const
{
    if (!mOverride) mOverride.emplace();
    (*mOverride)[attribute] = std::move(values);
}

bool AmruVEXRecord::setValues(const std::optional<PropertyList>& values, const std::string& forAttribute)
{
    const auto* array = values ? values->as<Array>() : nullptr;
    if (values && array == nullptr) {
        DebugLog(1, "AmruVEXRecord.setValues:forAttribute: inValues is not an array but a %s (attribute \"%s\")",
                 typeName(*values), forAttribute.c_str());
        return false;
    }
    store(forAttribute, array != nullptr ? *array : Array{});
    return true;
}

bool AmruVEXRecord::setValue(const std::optional<PropertyList>& value, const std::string& forAttribute)
{
    if (!value || value->as<Array>() != nullptr) return setValues(value, forAttribute);
    return setValues(Array{*value}, forAttribute);
}

bool AmruVEXRecord::setVEXFlagsDictionary(const std::optional<Dictionary>& flags)
{
    return setValue(flags ? std::optional<PropertyList>(*flags) : std::nullopt, kFlagsDictionaryCache);
}

bool AmruVEXRecord::removeValuesForAttribute(const std::string& attribute)
{
    if (!mOverride) return true;
    mOverride->erase(attribute);
    if (mOverride->empty()) mOverride.reset();
    return true;
}

std::optional<std::vector<AmruVEXRecord>>
AmruVEXRecord::vexRecordArrayForXMLAttribute(const std::string& attribute) const
{
    const auto values = valuesForAttribute(attribute);
    if (!values) return std::nullopt;
    std::vector<AmruVEXRecord> records;
    for (const auto& value : *values) {
        auto content = parsed(value);
        if (!content) continue;
        if (auto* dictionary = content->as<Dictionary>()) {
            records.push_back(AmruVEXRecord(*mContext, nullptr, std::move(*dictionary)));
        }
    }
    if (records.empty()) return std::nullopt;
    return records;
}

} // namespace roamer
