#pragma once

#include <optional>
#include <vector>

#include "platform/process_table.h"

namespace fakes
{

/// A table of processes as the test wrote it; null for one that cannot be read.
class FakeProcessTable final : public platform::ProcessTable
{
public:
    std::optional<std::vector<platform::ProcessRecord>> table = std::vector<platform::ProcessRecord>{};

    std::optional<std::vector<platform::ProcessRecord>> processes() override { return table; }
    int ownPid() override { return 1000; }
};

} // namespace fakes
