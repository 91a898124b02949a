#include "sim_disk.h"

#include <sys/stat.h>

#include <algorithm>

namespace braid::sim
{

namespace
{

constexpr std::uint64_t kNodeBytes = 256;

} // namespace

Disk::Disk(DiskTraits traits, std::uint64_t device) : mTraits(traits), mDevice(device)
{
    Node& top = mNodes[kTop];
    top.item.mode = S_IFDIR | 0755;
    top.links = 1;
}

const std::uint64_t* Disk::find(std::uint64_t folder, const std::string& name) const
{
    const auto& entries = mNodes.at(folder).entries;
    const auto found = entries.find(folds() ? stored(folder, name) : name);
    return found == entries.end() ? nullptr : &found->second;
}

std::string Disk::key(std::string_view name) const
{
    return text::foldName(name, mTraits.folding);
}

std::string Disk::stored(std::uint64_t folder, const std::string& name) const
{
    const std::string wanted = key(name);
    for (const auto& [present, inode] : mNodes.at(folder).entries) {
        if (key(present) == wanted) return present;
    }
    if (!mTraits.folding.keepsCase) return wanted;
    const std::string kept{mTraits.folding.dropsEnds ? text::withoutEnd(name) : name};
    return mTraits.decomposes ? text::foldName(kept, {false, true}) : kept;
}

std::int64_t Disk::stamp(std::int64_t now) const
{
    const std::int64_t time = now + mTraits.clockSkew;
    return time - (time % mTraits.timeStep);
}

std::uint64_t Disk::make(mode_t mode, std::int64_t now)
{
    Node& node = mNodes[++mLast];
    node.item.mode = mode;
    if (!mTraits.keepsModes && !S_ISLNK(mode)) node.item.mode = (mode & S_IFMT) | (S_ISDIR(mode) ? 0755U : 0644U);
    touch(node.item, now);
    return mLast;
}

void Disk::touch(Item& item, std::int64_t now) const
{
    item.mtime = item.ctime = stamp(now);
}

void Disk::link(std::uint64_t folder, const std::string& asked, std::optional<std::uint64_t> inode)
{
    auto& entries = node(folder).entries;
    const std::string name = folds() ? stored(folder, asked) : asked;
    if (const auto old = entries.find(name); old != entries.end()) --node(old->second).links;
    entries.erase(name);
    if (!inode) return;
    ++node(*inode).links;
    entries.emplace(name, *inode);
}

void Disk::replaceEntry(std::uint64_t folder, const std::string& asked, std::optional<std::uint64_t> inode,
                        std::int64_t now)
{
    const std::string name = folds() ? stored(folder, asked) : asked;
    const std::uint64_t* old = find(folder, name);
    const auto before = old ? std::optional{*old} : std::nullopt;
    if (before) node(*before).item.ctime = stamp(now);
    if (inode) node(*inode).item.ctime = stamp(now);
    touch(node(folder).item, now);
    link(folder, name, inode);
    mUndo.emplace_back([this, folder, name, before] { link(folder, name, before); });
}

void Disk::setEntry(std::uint64_t folder, const std::string& name, std::uint64_t inode, std::int64_t now)
{
    replaceEntry(folder, name, inode, now);
}

void Disk::removeEntry(std::uint64_t folder, const std::string& name, std::int64_t now)
{
    replaceEntry(folder, name, std::nullopt, now);
}

Item& Disk::change(std::uint64_t inode)
{
    Item& item = node(inode).item;
    mUndo.emplace_back([this, inode, before = item] { node(inode).item = before; });
    return item;
}

int Disk::together(const std::function<void()>& changes)
{
    const std::size_t first = mUndo.size();
    changes();
    const std::vector<std::function<void()>> undo{mUndo.begin() + static_cast<std::ptrdiff_t>(first), mUndo.end()};
    mUndo.resize(first);
    mUndo.emplace_back([undo] {
        for (auto step = undo.rbegin(); step != undo.rend(); ++step)
            (*step)();
    });
    return 0;
}

void Disk::closed(std::uint64_t inode)
{
    if (const auto node = mNodes.find(inode); node != mNodes.end()) --node->second.opens;
}

void Disk::closeAll()
{
    for (auto& [inode, node] : mNodes)
        node.opens = 0;
}

void Disk::keepSynced(Node& node)
{
    if (!node.syncedData) node.syncedData = node.data;
}

void Disk::write(std::uint64_t inode, std::size_t offset, const std::string& bytes, std::int64_t now)
{
    Node& file = node(inode);
    keepSynced(file);
    if (file.data.size() < offset + bytes.size()) file.data.resize(offset + bytes.size());
    file.data.replace(offset, bytes.size(), bytes);
    touch(file.item, now);
}

void Disk::truncate(std::uint64_t inode, std::size_t size, std::int64_t now)
{
    Node& file = node(inode);
    keepSynced(file);
    file.data.resize(size);
    file.setAside = std::min<std::uint64_t>(file.setAside, size);
    touch(file.item, now);
}

std::uint64_t Disk::freeRoom() const
{
    constexpr std::uint64_t kPlenty = std::uint64_t{1} << 30;
    if (mTraits.capacity >= kPlenty) return kPlenty;
    std::uint64_t used = 0;
    for (const auto& [inode, node] : mNodes) {
        if (node.links > 0 || node.opens > 0) used += std::max(node.data.size(), node.setAside) + kNodeBytes;
    }
    return mTraits.capacity - std::min(used, mTraits.capacity);
}

void Disk::flush(std::uint64_t inode)
{
    node(inode).syncedData.reset();
    mUndo.clear();
}

void Disk::flushAll()
{
    for (auto& [inode, node] : mNodes)
        node.syncedData.reset();
    mUndo.clear();
    forgetUnused();
}

void Disk::forgetUnused()
{
    if (!mUndo.empty()) return; // a power failure may bring any of them back
    std::vector<std::uint64_t> unused;
    do {
        unused.clear();
        for (const auto& [inode, node] : mNodes) {
            if (node.links <= 0 && node.opens <= 0) unused.push_back(inode);
        }
        for (const std::uint64_t inode : unused) {
            for (const auto& [name, child] : node(inode).entries)
                --node(child).links;
            mNodes.erase(inode);
        }
    } while (!unused.empty());
}

void Disk::cutPower(std::mt19937_64& random)
{
    const std::size_t kept = random() % (mUndo.size() + 1);
    for (; mUndo.size() > kept; mUndo.pop_back())
        mUndo.back()();
    mUndo.clear();
    for (auto& [inode, node] : mNodes) {
        node.opens = 0;
        if (!node.syncedData) continue;
        std::string old = std::move(*node.syncedData);
        node.syncedData.reset();
        switch (random() % 3) {
        case 0:
            node.data = std::move(old);
            break;
        case 1: { // the first blocks made it
            constexpr std::size_t kBlock = 512;
            const std::size_t fresh = random() % (node.data.size() / kBlock + 1) * kBlock;
            old.replace(0, std::min(fresh, old.size()), node.data, 0, fresh);
            node.data = std::move(old);
            break;
        }
        default:
            break;
        }
    }
    forgetUnused();
}

} // namespace braid::sim
