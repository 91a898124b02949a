#include "path_text.h"

namespace roamer
{

namespace
{

std::string_view withoutTrailingSlashes(std::string_view path)
{
    while (path.size() > 1 && path.back() == '/')
        path.remove_suffix(1);
    return path;
}

} // namespace

std::string pathByAppending(std::string_view base, std::string_view component)
{
    while (component.starts_with('/'))
        component.remove_prefix(1);
    component = withoutTrailingSlashes(component);
    if (base.empty()) return std::string(component);
    std::string path(withoutTrailingSlashes(base));
    if (component.empty()) return path;
    if (path.back() != '/') path += '/';
    return path.append(component);
}

std::string lastPathComponent(std::string_view path)
{
    path = withoutTrailingSlashes(path);
    if (path == "/") return "/";
    return std::string(path.substr(path.rfind('/') + 1));
}

std::string pathByDeletingLastComponent(std::string_view path)
{
    path = withoutTrailingSlashes(path);
    const auto slash = path.rfind('/');
    if (slash == std::string_view::npos) return {};
    if (slash == 0) return "/";
    return std::string(withoutTrailingSlashes(path.substr(0, slash)));
}

std::vector<std::string> pathComponents(std::string_view path)
{
    std::vector<std::string> components;
    if (path.starts_with('/')) components.emplace_back("/");
    while (!path.empty()) {
        const auto slash = path.find('/');
        const auto name = path.substr(0, slash);
        if (!name.empty()) components.emplace_back(name);
        path = slash == std::string_view::npos ? std::string_view{} : path.substr(slash + 1);
    }
    return components;
}

} // namespace roamer
