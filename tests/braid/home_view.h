#pragma once

#include <map>
#include <set>
#include <string>

#include "braid/disk/facts.h"
#include "histories.h"

namespace braid::sim
{

/// An item as a person finds it.
struct Seen {
    Stat stat;
    std::string content; ///< A link's target.
    std::string attributes;

    bool holdsSame(const Seen& other) const { return stat.kind == other.stat.kind && content == other.content; }
};
using View = std::map<std::string, Seen>;

/// Everything in a home but the marker folder.
View viewOf(const std::string& home);

/// Contents of files in the home, in its trash, and of versions that a killed pass left for the next one to find.
std::set<std::string> contentsIn(const std::string& home);

/// Copies and replaced versions that wait in the home for a pass to go on, by path.
std::set<std::string> stagedIn(const std::string& home);

/// A person does this to the home at that path.
void carryOut(const Step& step, const std::string& home);

/// A file's content in full; "" where it cannot be read.
std::string readWhole(const std::string& path);
void overwrite(const std::string& path, const std::string& content);

} // namespace braid::sim
