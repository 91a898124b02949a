#include "user_formats.h"

#include <cstdlib>
#include <unicode/dcfmtsym.h>
#include <unicode/locid.h>

namespace platform
{

namespace
{

/// The first of the variables that is set to something, in the order of the C library.
std::string numericLocaleName()
{
    for (const char* variable : {"LC_ALL", "LC_NUMERIC", "LANG"}) {
        const char* value = std::getenv(variable);
        if (value != nullptr && *value != '\0') return value;
    }
    return "C";
}

class LocaleUserFormats final : public UserFormats
{
public:
    std::string decimalSeparator() const override
    {
        const std::string name = numericLocaleName();
        if (name == "C" || name == "POSIX" || name.starts_with("C.")) return ".";
        UErrorCode status = U_ZERO_ERROR;
        const icu::DecimalFormatSymbols symbols(icu::Locale::createCanonical(name.c_str()), status);
        if (U_FAILURE(status)) return ".";
        std::string separator;
        symbols.getSymbol(icu::DecimalFormatSymbols::kDecimalSeparatorSymbol).toUTF8String(separator);
        return separator.empty() ? "." : separator;
    }
};

} // namespace

std::unique_ptr<UserFormats> makeUserFormats()
{
    return std::make_unique<LocaleUserFormats>();
}

} // namespace platform
