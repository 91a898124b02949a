#pragma once

#include <string>

#include "braid/engine.h"
#include "json.h"

namespace braid::cli
{

/// A name's bytes that are not UTF-8 are written as "\xNN" in the text.
json::Object jsonObject(const PassReport& report, bool dryRun);

/// That object on a line of its own.
std::string jsonReport(const PassReport& report, bool dryRun);

/// The same for a person.
std::string plainReport(const PassReport& report, bool dryRun);

/// What a dry run foresees, a line each.
std::string plainChanges(const std::vector<PlannedChange>& changes);
std::string jsonChanges(const std::vector<PlannedChange>& changes);

/// Of that the conflicts and errors alone, a line each.
std::string plainMatters(const PassReport& report);

/// One line that a terminal shows over and over, without a newline.
std::string progressLine(const Progress& progress);

} // namespace braid::cli
