#include "home_view.h"

#include <array>
#include <cerrno>

#include "braid/disk/calls.h"

namespace braid::sim
{

namespace
{

disk::System& calls()
{
    return disk::system();
}

std::string contentOf(int folder, const char* name)
{
    const auto file = disk::openFile(folder, name);
    const auto stat = file ? disk::statOf(file->number()) : Outcome<Stat>{Stat{}};
    if (!file || !stat) return "";
    const auto text = disk::readSmall(file->number(), static_cast<std::size_t>(stat->size));
    return text ? *text : "";
}

std::string attributesOf(int folder, const std::string& name)
{
    const Descriptor item{calls().openat(folder, name.c_str(), O_PATH | O_NOFOLLOW, 0)};
    std::array<char, 4096> names{};
    const ssize_t length = item ? calls().flistxattr(item.number(), names.data(), names.size()) : 0;
    std::string all;
    for (ssize_t at = 0; at < length;) {
        const std::string key{names.data() + at};
        at += static_cast<ssize_t>(key.size()) + 1;
        if (!key.starts_with("user.")) continue;
        std::array<char, 256> value{};
        const ssize_t size = calls().fgetxattr(item.number(), key.c_str(), value.data(), value.size());
        all += " " + key + "=" + std::string{value.data(), static_cast<std::size_t>(size < 0 ? 0 : size)};
    }
    return all;
}

void look(int folder, const std::string& prefix, bool withMarker, View& view)
{
    std::vector<std::string> names;
    calls().listNames(folder, names);
    for (std::string& name : names) {
        if (name == ".braid") name = ".Braid"; // a server may have its own case
        if (!withMarker && name == ".Braid") continue;
        const auto stat = disk::statAt(folder, name.c_str());
        if (!stat || !stat->exists()) continue;
        Seen& seen = view[prefix + name];
        seen.stat = *stat;
        if (stat->kind == Kind::Folder) {
            const Descriptor below{calls().openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY, 0)};
            if (below) look(below.number(), prefix + name + "/", withMarker, view);
        } else if (stat->kind == Kind::Link) {
            if (const auto target = disk::readLink(folder, name.c_str())) seen.content = *target;
        } else {
            seen.content = contentOf(folder, name.c_str());
        }
        if (stat->kind != Kind::Link) seen.attributes = attributesOf(folder, name);
    }
}

Descriptor openFolderOf(const std::string& path)
{
    return Descriptor{calls().open(path.substr(0, path.rfind('/')).c_str(), O_RDONLY | O_DIRECTORY)};
}

/// Of the path's last part, with the folders above made where nothing is in the way.
Descriptor makeFolderOf(const std::string& home, const std::string& path)
{
    for (std::size_t end = path.find('/'); end != std::string::npos; end = path.find('/', end + 1)) {
        const std::string above = home + "/" + path.substr(0, end);
        const Descriptor folder = openFolderOf(above);
        if (folder) calls().mkdirat(folder.number(), std::string{nameOf(above)}.c_str(), 0755);
    }
    return openFolderOf(home + "/" + path);
}

/// Each number has a content of its own: many of one size, so that only reading tells them apart, some with holes.
std::string contentFor(std::uint64_t number)
{
    std::string content = "content " + std::to_string(100'000'000 + number);
    if (number >= kLargeContents) {
        std::string large(std::size_t{5} << 20, 'x');
        large.replace(0, content.size(), content);
        return large.replace((1 + number % 4) << 20, content.size(), content);
    }
    if (number % 7 == 0) content += std::string(number % 50, 'x');
    if (number % 11 == 0) content = content + std::string(20'000, '\0') + content;
    return content;
}

void put(int folder, const char* name, const std::string& content, int flags)
{
    const Descriptor file{calls().openat(folder, name, O_RDWR | O_CREAT | O_NOFOLLOW | flags, 0644)};
    if (file) disk::rewrite(file.number(), content);
}

void setAttribute(int folder, const char* name, const std::string& value)
{
    const Descriptor item{calls().openat(folder, name, O_PATH | O_NOFOLLOW, 0)};
    if (item) calls().fsetxattr(item.number(), "user.note", value.data(), value.size());
}

/// By a temporary name where nothing happens otherwise, as people do.
void respell(int folder, const std::string& name)
{
    std::string other = name;
    other[0] = static_cast<char>(std::isalpha(static_cast<unsigned char>(name[0])) ? name[0] ^ 0x20 : name[0]);
    if (name == "\xc3\xa9") other = "\xc3\x89";
    if (name == other || disk::renameNew(folder, name.c_str(), folder, other.c_str()) != EEXIST) return;
    const auto one = disk::statAt(folder, name.c_str());
    const auto there = disk::statAt(folder, other.c_str());
    if (!one || !there || one->inode != there->inode) return;
    disk::renameNew(folder, name.c_str(), folder, ".respelling");
    disk::renameNew(folder, ".respelling", folder, other.c_str());
}

} // namespace

View viewOf(const std::string& home)
{
    View view;
    if (const auto top = disk::openTop(home)) look(top->number(), "", false, view);
    return view;
}

std::set<std::string> contentsIn(const std::string& home)
{
    View view;
    if (const auto top = disk::openTop(home)) look(top->number(), "", true, view);
    std::set<std::string> contents;
    for (const auto& [path, seen] : view) {
        if (seen.stat.kind != Kind::File) continue;
        const bool isStaged = path.starts_with(".Braid/staging/");
        if (path.starts_with(".Braid/") && !isStaged && !path.starts_with(".Braid/trash/")) continue;
        const std::string_view name = nameOf(path);
        const bool isCopy = name.starts_with("new-") || name == "old-" + std::to_string(seen.stat.inode);
        const bool isNote = name == "case.path"; // the engine's own, where a rename to another spelling stood
        if (!isStaged || (!isCopy && !isNote)) contents.insert(seen.content);
    }
    return contents;
}

std::set<std::string> stagedIn(const std::string& home)
{
    View view;
    if (const auto top = disk::openTop(home)) look(top->number(), "", true, view);
    std::set<std::string> paths;
    for (const auto& [path, seen] : view) {
        if (seen.stat.kind != Kind::Folder && path.starts_with(".Braid/staging/")) paths.insert(path);
    }
    return paths;
}

void carryOut(const Step& step, const std::string& home)
{
    using Verb = Step::Verb;
    const std::string path = home + "/" + step.path;
    const std::string lastName{nameOf(path)};
    const char* name = lastName.c_str();
    const bool makes = step.verb == Verb::Write || step.verb == Verb::Replace || step.verb == Verb::MakeFolder ||
                       step.verb == Verb::MakeLink;
    const Descriptor folder = makes ? makeFolderOf(home, step.path) : openFolderOf(path);
    if (!folder) return;
    const auto stat = disk::statAt(folder.number(), name);
    if (!stat) return;
    switch (step.verb) {
    case Verb::Write:
        if (stat->kind == Kind::File || !stat->exists()) put(folder.number(), name, contentFor(step.number), 0);
        return;
    case Verb::Replace:
        if (stat->kind == Kind::Folder) return;
        put(folder.number(), ".editing", contentFor(step.number), O_TRUNC);
        disk::renameOver(folder.number(), ".editing", folder.number(), name);
        return;
    case Verb::EditQuietly:
        if (stat->kind != Kind::File) return;
        put(folder.number(), name, contentFor(step.number), 0);
        disk::setModifiedTime(folder.number(), name, stat->mtime);
        return;
    case Verb::SetMode:
        if (stat->exists() && stat->kind != Kind::Link)
            disk::setMode(folder.number(), name, static_cast<std::uint16_t>(step.number));
        return;
    case Verb::SetTime:
        if (stat->exists())
            disk::setModifiedTime(folder.number(), name, 1'500'000'000'000'000'000 + std::int64_t(step.number));
        return;
    case Verb::SetAttribute:
        if (stat->exists() && stat->kind != Kind::Link)
            setAttribute(folder.number(), name, std::to_string(step.number));
        return;
    case Verb::Remove:
        disk::removeTree(folder.number(), name);
        return;
    case Verb::Rename: {
        const Descriptor target = openFolderOf(home + "/" + step.other);
        if (target && stat->exists())
            disk::renameOver(folder.number(), name, target.number(), std::string{nameOf(step.other)}.c_str());
        return;
    }
    case Verb::Respell:
        if (stat->exists()) respell(folder.number(), lastName);
        return;
    case Verb::AddName: {
        const Descriptor target = openFolderOf(home + "/" + step.other);
        if (target && stat->kind == Kind::File)
            disk::addName(folder.number(), name, target.number(), std::string{nameOf(step.other)}.c_str());
        return;
    }
    case Verb::MakeFolder:
        if (!stat->exists()) disk::makeFolder(folder.number(), name, 0755);
        return;
    case Verb::MakeLink:
        if (!stat->exists()) disk::makeLink(folder.number(), name, "target " + std::to_string(step.number));
        return;
    default:
        return;
    }
}

std::string readWhole(const std::string& path)
{
    const Descriptor folder = openFolderOf(path);
    return folder ? contentOf(folder.number(), std::string{nameOf(path)}.c_str()) : "";
}

void overwrite(const std::string& path, const std::string& content)
{
    const Descriptor folder = openFolderOf(path);
    if (folder) put(folder.number(), std::string{nameOf(path)}.c_str(), content, 0);
}

} // namespace braid::sim
