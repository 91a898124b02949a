#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace roamer
{

/// `base` and `component` with exactly one slash between them; `component` alone when `base` is empty.
std::string pathByAppending(std::string_view base, std::string_view component);

/// The last component; "/" for the root, "" for an empty path. Slashes at the end do not count.
std::string lastPathComponent(std::string_view path);

/// The path without its last component: "/" for "/a", "" for "a".
std::string pathByDeletingLastComponent(std::string_view path);

/// "/" first for an absolute path, then the names; empty components are left out.
std::vector<std::string> pathComponents(std::string_view path);

} // namespace roamer
