#include <charconv>
#include <cmath>
#include <cstring>

#include "base64.h"
#include "property_list_forms.h"
#include "util/utf_text.h"
#include "xml_date.h"

namespace platform
{

namespace
{

constexpr std::string_view kHead = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n";
constexpr std::string_view kTail = "</plist>\n";

/// Whether the text form has a way to say the character.
constexpr bool isXmlCharacter(char32_t character)
{
    if (character < 0x20) return character == '\t' || character == '\n' || character == '\r';
    return character != 0xFFFE && character != 0xFFFF;
}

class XmlWriter
{
public:
    WrittenPropertyList write(const roamer::PropertyList& value)
    {
        mText = kHead;
        add(value);
        mText += kTail;
        if (mProblem != nullptr) return PropertyListCodec::Error{mProblem};
        std::vector<std::byte> bytes(mText.size());
        std::memcpy(bytes.data(), mText.data(), mText.size());
        return bytes;
    }

private:
    void add(const roamer::PropertyList& value)
    {
        if (mProblem != nullptr) return;
        std::visit([this](const auto& content) { addContent(content); }, value.value());
    }

    void addContent(const roamer::Dictionary& dictionary)
    {
        if (dictionary.empty()) return addLine("<dict/>");
        addLine("<dict>");
        ++mIndent;
        for (const auto& [key, item] : dictionary) {
            addTextElement("key", key);
            add(item);
        }
        --mIndent;
        addLine("</dict>");
    }

    void addContent(const roamer::Array& array)
    {
        if (array.empty()) return addLine("<array/>");
        addLine("<array>");
        ++mIndent;
        for (const auto& item : array)
            add(item);
        --mIndent;
        addLine("</array>");
    }

    void addContent(const std::string& text) { addTextElement("string", text); }
    void addContent(std::int64_t integer) { addLine("<integer>" + std::to_string(integer) + "</integer>"); }
    void addContent(bool boolean) { addLine(boolean ? "<true/>" : "<false/>"); }
    void addContent(roamer::Date date) { addLine("<date>" + xmlTextFromDate(date) + "</date>"); }
    void addContent(const roamer::Data& data) { addLine("<data>" + base64FromData(data) + "</data>"); }

    void addContent(double real)
    {
        char digits[40];
        const auto result = std::to_chars(digits, digits + sizeof digits, real); // the shortest that reads back equal
        std::string text(digits, result.ptr);
        if (std::isnan(real)) text = "nan";
        if (std::isinf(real)) text = real > 0 ? "+infinity" : "-infinity";
        addLine("<real>" + text + "</real>");
    }

    void addTextElement(const std::string& name, const std::string& text)
    {
        addLine("<" + name + ">" + escaped(text) + "</" + name + ">");
    }

    std::string escaped(const std::string& text)
    {
        std::string result;
        result.reserve(text.size());
        for (std::size_t position = 0; position < text.size();) {
            const std::size_t start = position;
            const auto character = roamer::nextCodePoint(text, position);
            if (!character || !isXmlCharacter(*character)) {
                mProblem = "a string holds a character that the text form cannot hold";
                return {};
            }
            switch (*character) {
            case '&':
                result += "&amp;";
                break;
            case '<':
                result += "&lt;";
                break;
            case '>':
                result += "&gt;";
                break;
            case '\r':
                result += "&#13;";
                break; // as it is, a reader takes it for a newline
            default:
                result.append(text, start, position - start);
            }
        }
        return result;
    }

    void addLine(std::string_view line)
    {
        mText.append(mIndent, '\t').append(line) += '\n';
        if (mText.size() > kMaxPropertyListBytes) mProblem = "the written form is larger than 64 MiB";
    }

    std::string mText;
    std::size_t mIndent = 0;
    const char* mProblem = nullptr;
};

} // namespace

WrittenPropertyList writeXmlPropertyList(const roamer::PropertyList& value)
{
    return XmlWriter().write(value);
}

} // namespace platform
