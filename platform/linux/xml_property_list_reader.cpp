#include <array>
#include <charconv>
#include <expat.h>
#include <memory>
#include <optional>
#include <string_view>

#include "base64.h"
#include "property_list_forms.h"
#include "xml_date.h"

namespace platform
{

namespace
{

using roamer::PropertyList;

enum class Element { Plist, Dict, Array, Key, String, Integer, Real, True, False, Date, Data };

struct ElementName {
    std::string_view name;
    Element element;
};

constexpr auto kElements = std::to_array<ElementName>({
    {"plist", Element::Plist},
    {"dict", Element::Dict},
    {"array", Element::Array},
    {"key", Element::Key},
    {"string", Element::String},
    {"integer", Element::Integer},
    {"real", Element::Real},
    {"true", Element::True},
    {"false", Element::False},
    {"date", Element::Date},
    {"data", Element::Data},
});

std::optional<Element> findElement(std::string_view name)
{
    for (const auto& entry : kElements)
        if (entry.name == name) return entry.element;
    return std::nullopt;
}

constexpr bool isContainer(Element element)
{
    return element == Element::Plist || element == Element::Dict || element == Element::Array;
}

constexpr bool holdsText(Element element)
{
    return !isContainer(element) && element != Element::True && element != Element::False;
}

bool isBlank(std::string_view text)
{
    return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

std::string_view trimmed(std::string_view text)
{
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

std::optional<PropertyList> integerFromText(std::string_view text)
{
    text = trimmed(text);
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) text.remove_prefix(1);
    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        base = 16;
        text.remove_prefix(2);
    }
    std::uint64_t magnitude = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), magnitude, base);
    constexpr std::uint64_t kTwoTo63 = std::uint64_t{1} << 63U;
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    if (magnitude > kTwoTo63 || (magnitude == kTwoTo63 && !negative)) return std::nullopt;
    return PropertyList(static_cast<std::int64_t>(negative ? 0 - magnitude : magnitude));
}

std::optional<PropertyList> realFromText(std::string_view text)
{
    text = trimmed(text);
    if (text.starts_with('+')) text.remove_prefix(1);
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return PropertyList(value);
}

std::optional<PropertyList> dateFromText(std::string_view text)
{
    const auto date = dateFromXmlText(trimmed(text));
    return date ? std::optional<PropertyList>(*date) : std::nullopt;
}

std::optional<PropertyList> dataFromText(std::string_view text)
{
    auto data = dataFromBase64(text);
    return data ? std::optional<PropertyList>(std::move(*data)) : std::nullopt;
}

/// One document, from expat's events to a value. The first problem stops the parser and is the result.
class XmlReader
{
public:
    XmlReader() : mParser(XML_ParserCreate(nullptr))
    {
        XML_SetUserData(parser(), this);
        XML_SetElementHandler(
            parser(), [](void* self, const XML_Char* name, const XML_Char**) { reader(self).start(name); },
            [](void* self, const XML_Char*) { reader(self).end(); });
        XML_SetCharacterDataHandler(parser(), [](void* self, const XML_Char* text, int length) {
            reader(self).addText({text, static_cast<std::size_t>(length)});
        });
        // The only way for a small document to become a huge one; property lists have no use for it.
        XML_SetEntityDeclHandler(parser(), [](void* self, const XML_Char*, int, const XML_Char*, int, const XML_Char*,
                                              const XML_Char*, const XML_Char*, const XML_Char*) {
            reader(self).fail("entity declarations are not allowed");
        });
        // A document type is usual, and with it expat passes over unknown entities instead of refusing them.
        XML_SetSkippedEntityHandler(
            parser(), [](void* self, const XML_Char*, int) { reader(self).fail("an entity that is not declared"); });
    }

    ParsedPropertyList read(std::span<const std::byte> bytes)
    {
        const auto* text = reinterpret_cast<const char*>(bytes.data());
        const auto status = XML_Parse(parser(), text, static_cast<int>(bytes.size()), XML_TRUE);
        if (!mProblem && status != XML_STATUS_OK) fail(XML_ErrorString(XML_GetErrorCode(parser())));
        if (!mProblem && !mTop) fail("there is no value");
        if (mProblem) return PropertyListCodec::Error{*mProblem};
        return std::move(*mTop);
    }

private:
    struct Frame {
        Element element;
        PropertyList value; ///< What a container holds so far.
        std::optional<std::string> key;
    };
    struct ParserFree {
        void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
    };

    XML_Parser parser() const { return mParser.get(); }
    static XmlReader& reader(void* self) { return *static_cast<XmlReader*>(self); }

    void fail(const std::string& problem)
    {
        if (mProblem) return;
        mProblem = "XML line " + std::to_string(XML_GetCurrentLineNumber(parser())) + ": " + problem;
        XML_StopParser(parser(), XML_FALSE);
    }

    void start(std::string_view name)
    {
        if (mProblem) return; // expat may still tell the end of what it is in
        const auto element = findElement(name);
        if (!element) return fail("<" + std::string(name.substr(0, 40)) + "> is no property list element");
        if (++mElements > kMaxPropertyListValues) return fail("more than a million values");
        if (isContainer(*element) && mStack.size() > kMaxPropertyListDepth) return fail("nested more than 512 deep");
        if (const char* problem = findMisplaced(*element)) return fail(problem);
        PropertyList value = *element == Element::Array ? PropertyList(roamer::Array{}) : PropertyList();
        mStack.push_back({*element, std::move(value), std::nullopt});
        mText.clear();
    }

    const char* findMisplaced(Element element) const
    {
        if (mStack.empty()) {
            if (element == Element::Key) return "<key> outside of <dict>";
            return nullptr;
        }
        const Frame& parent = mStack.back();
        if (element == Element::Plist) return "<plist> within the document";
        if (!isContainer(parent.element)) return "an element within a simple value";
        if (parent.element == Element::Dict) {
            if (element == Element::Key) return parent.key ? "a key without a value" : nullptr;
            return parent.key ? nullptr : "a value without a key";
        }
        if (element == Element::Key) return "<key> outside of <dict>";
        if (parent.element == Element::Plist && mTop) return "more than one value";
        return nullptr;
    }

    void addText(std::string_view text)
    {
        if (mProblem || mStack.empty()) return;
        if (holdsText(mStack.back().element)) {
            mText.append(text);
        } else if (!isBlank(text)) {
            fail("text outside of a value");
        }
    }

    void end()
    {
        if (mProblem) return;
        Frame frame = std::move(mStack.back());
        mStack.pop_back();
        if (frame.element == Element::Plist) return;
        if (frame.element == Element::Key) {
            mStack.back().key = std::move(mText);
            mText.clear();
            return;
        }
        if (frame.key) return fail("a key without a value");
        auto value = finished(frame);
        if (!value) return fail("a value that cannot be read: \"" + mText.substr(0, 40) + "\"");
        place(std::move(*value));
        mText.clear();
    }

    std::optional<PropertyList> finished(Frame& frame)
    {
        switch (frame.element) {
        case Element::String:
            return PropertyList(std::move(mText));
        case Element::Integer:
            return integerFromText(mText);
        case Element::Real:
            return realFromText(mText);
        case Element::Date:
            return dateFromText(mText);
        case Element::Data:
            return dataFromText(mText);
        case Element::True:
            return PropertyList(true);
        case Element::False:
            return PropertyList(false);
        default:
            return std::move(frame.value);
        }
    }

    void place(PropertyList value)
    {
        if (mStack.empty() || mStack.back().element == Element::Plist) {
            mTop = std::move(value);
            return;
        }
        Frame& parent = mStack.back();
        if (parent.element == Element::Array) {
            parent.value.as<roamer::Array>()->push_back(std::move(value));
        } else {
            parent.value.as<roamer::Dictionary>()->insert_or_assign(std::move(*parent.key), std::move(value));
            parent.key.reset();
        }
    }

    std::unique_ptr<XML_ParserStruct, ParserFree> mParser;
    std::vector<Frame> mStack;
    std::string mText;
    std::optional<PropertyList> mTop;
    std::optional<std::string> mProblem;
    std::size_t mElements = 0;
};

} // namespace

ParsedPropertyList readXmlPropertyList(std::span<const std::byte> bytes)
{
    return XmlReader().read(bytes);
}

} // namespace platform
