#pragma once

#include <map>
#include <optional>
#include <string>

namespace roamer
{

/// The parts of a home description, a text such as
///
///     <home_dir><url>nfs://server/homes</url><path>jo</path></home_dir>
///
/// by their names, with percent escapes undone. The elements follow each other without blanks. Null for null and for a
/// text without an inner element; a value with a malformed escape, or one that is not UTF-8, is left out.
std::optional<std::map<std::string, std::string>> dictionaryWithPseudoXMLString(const std::string* text);

} // namespace roamer
