#include <cstdint>
#include <cstdlib>

#include "util/pseudo_xml.h"
#include "util/utf_text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto elements = roamer::dictionaryWithPseudoXMLString(&text);
    if (!elements) return 0;
    for (const auto& [name, value] : *elements)
        if (!roamer::isUtf8(value) || value.size() > size) std::abort();
    return 0;
}
