#pragma once

#include <set>
#include <string>
#include <vector>

#include "braid/engine.h"
#include "computers.h"
#include "set_aside.h"
#include "values/property_list.h"

namespace braid::agent
{

/// What needs a person: the recorded conflicts and errors, less those that a person put aside.
class Matters
{
public:
    /// Borrowed.
    explicit Matters(SetAside& setAside) : mSetAside(setAside) {}

    /// All that is recorded now.
    void take(OpenMatters known) { mKnown = std::move(known); }
    /// Joins what is known: what a running pass has come upon, and has not recorded yet.
    void add(const OpenMatters& fresh);
    void takeComputers(std::vector<Computer> others) { mComputers = std::move(others); }

    std::uint64_t conflicts() const; ///< Those that count.
    std::uint64_t errors() const;

    /// Something that a pass met counts, and belongs to no job that suppresses the dialogs about it.
    bool needsDialog(const OpenMatters& met, const std::vector<Job>& jobs) const;

    std::optional<std::string> setAside(const std::set<Matter>& matters, bool aside)
    {
        return mSetAside.change(mKnown, matters, aside);
    }
    std::optional<std::string> forget();

    /// Under the protocol's keys kConflicts and kErrors.
    roamer::Dictionary describe() const;

private:
    roamer::Dictionary describe(const Conflict& conflict) const;

    SetAside& mSetAside;
    OpenMatters mKnown;
    std::vector<Computer> mComputers;
};

/// A path as it goes over the bus, and back.
roamer::Data bytesOf(const std::string& path);
std::string pathOf(const roamer::Data& bytes);

} // namespace braid::agent
