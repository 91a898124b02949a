#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "braid/engine.h"

namespace braid
{

/// A folder as its items: path → everything that a sync must keep, in words. Without the engine's own names.
using Tree = std::map<std::string, std::string>;

/// Two homes in a temporary folder, and the things that people do to them.
class HomePair
{
public:
    HomePair();
    ~HomePair();
    HomePair(const HomePair&) = delete;
    HomePair& operator=(const HomePair&) = delete;

    const std::filesystem::path& local() const { return mLocal; }
    const std::filesystem::path& network() const { return mNetwork; }
    const std::filesystem::path& top() const { return mTop; }

    /// One pass with these jobs; without any: the whole home, every conflict left for a person.
    PassReport sync(std::vector<Job> jobs = {}) const;
    PassReport syncResolving(Peer favor) const;
    PassSettings settings(std::vector<Job> jobs = {}) const;

private:
    std::filesystem::path mTop;
    std::filesystem::path mLocal;
    std::filesystem::path mNetwork;
};

/// Folders above are made. The file's time is well in the past and differs from content to content, as if it had been
/// written at leisure; write again with `now` for one that was written just before the pass.
void write(const std::filesystem::path& file, const std::string& content, bool now = false);
std::string read(const std::filesystem::path& file);
void makeLink(const std::filesystem::path& link, const std::string& target);
void setAttribute(const std::filesystem::path& file, const char* name, const std::string& value);
void setTime(const std::filesystem::path& item, std::int64_t nanoseconds);

/// With folder times only where asked: those of a home's folders follow from what happens inside.
Tree treeOf(const std::filesystem::path& home, bool withFolderTimes = true);
/// Where two trees are not the same, one item a line.
std::string differences(const Tree& one, const Tree& other);
/// All contents of files in the home's trash.
std::vector<std::string> trashContents(const std::filesystem::path& home);
/// Inode, times and size of everything below, the marker folder too: equal if nothing was written.
Tree footprintOf(const std::filesystem::path& folder);

std::uint64_t writesOf(const PassReport& report);

/// Runs `work` in a process of its own. True if it came to its end, false if it was killed on the way.
bool survives(const std::function<void()>& work);

Job wholeHome(JobOptions options = {});
/// The side is copied from, never written to, and wins.
JobOptions copyFrom(Peer peer);
/// As above, but the job ends rather than leave something out.
JobOptions copyOrEnd(Peer peer);

} // namespace braid
