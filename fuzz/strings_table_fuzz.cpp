#include <cstdint>
#include <cstdlib>

#include "platform/linux/strings_table.h"
#include "util/utf_text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto result = platform::readStringsTable(std::as_bytes(std::span(data, size)));
    const auto* texts = std::get_if<roamer::Dictionary>(&result);
    if (texts == nullptr) return 0;
    for (const auto& [key, text] : *texts)
        if (!roamer::isUtf8(key) || !roamer::isUtf8(*text.as<std::string>())) std::abort();
    return 0;
}
