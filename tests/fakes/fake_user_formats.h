#pragma once

#include <string>

#include "platform/user_formats.h"

namespace fakes
{

class FakeUserFormats final : public platform::UserFormats
{
public:
    std::string separator = ".";

    std::string decimalSeparator() const override { return separator; }
};

} // namespace fakes
