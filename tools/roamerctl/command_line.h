#pragma once

#include <CLI/CLI.hpp>

#include "options.h"

namespace roamer::ctl
{

/// Declares every sub-command with its options; what is parsed with them becomes `request`, which must outlive `app`.
void declareCommands(CLI::App& app, Request& request);

} // namespace roamer::ctl
