#pragma once

#include <cstdint>
#include <vector>

#include "platform/event_trace.h"

namespace fakes
{

class FakeEventTrace final : public platform::EventTrace
{
public:
    std::vector<std::uint32_t> codes;
    void trace(std::uint32_t code) override { codes.push_back(code); }
};

} // namespace fakes
