#pragma once

#include <ctime>
#include <optional>
#include <string>
#include <string_view>

#include "home.h"

namespace braid
{

/// Where a home keeps what a pass deleted or replaced: `.Braid/trash/<time of the pass>/<path in the home>`. Kept for
/// 30 days; beyond a bound in bytes the oldest passes go first, never the running one.
class Trash
{
public:
    /// Borrows `home`, which must be prepared and outlive the trash.
    explicit Trash(Home& home);

    /// Where an item lies in the trash of this pass.
    struct Kept {
        Stat stat;
        std::string folder; ///< Below the pass's own.
        std::string name;
    };

    /// Moves the item into the trash as the version that lay at `homePath`. `seen` is what the caller knows of it: if
    /// something else turns out to have been moved, it is put back and the code is EAGAIN. 0 or an errno value.
    int keep(int folder, const char* name, std::string_view homePath, const Stat& seen, Kept* kept = nullptr);
    /// Moves it back to where it came from. 0 or an errno value: it stays in the trash, for one where its place was
    /// taken meanwhile.
    int putBack(const Kept& kept, int folder, const char* name);

    /// Removes what is too old or too much. Problems are left for the next time.
    void expire();

private:
    Outcome<Descriptor> ownFolder(std::string_view homeFolder);

    Home& mHome;
    std::string mPassName;
    Descriptor mPass;        // opened with the first item
    std::string mLastFolder; // of the home, as it was asked for last; items come folder by folder
    std::string mLastPlace;  // where its items go, below mPass
    Descriptor mLast;        // that
};

/// When the pass ran that a folder in the trash is named after; nothing for another name.
std::optional<std::time_t> timeOfTrashedPass(const std::string& name);

} // namespace braid
