#include "json.h"

#include <array>
#include <cstdio>

#include "braid/text/folding.h"

namespace braid::cli::json
{

std::string text(const std::string& bytes)
{
    std::string out = "\"";
    for (const char c : braid::text::utf8(bytes)) {
        switch (c) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) {
                std::array<char, 8> escape{};
                std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned>(c));
                out += escape.data();
            } else {
                out += c;
            }
        }
    }
    return out + "\"";
}

} // namespace braid::cli::json
