#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>

namespace roamer::session
{

/// The process leaves no memory image and cannot be looked into by the user's other processes.
void forbidMemoryImages();

/// A password in memory that is kept out of the swap space, of memory images and of child processes, and is wiped when
/// it goes.
class Secret
{
public:
    /// No password is longer; as much fits into every pipe.
    static constexpr std::size_t kCapacity = 4096;

    Secret();
    ~Secret();
    Secret(const Secret&) = delete;
    Secret& operator=(const Secret&) = delete;

    /// Takes everything up to the end of `descriptor`, unchanged; from a terminal one line, asked for and not echoed.
    /// `isWanted` is asked now and then. In words why there is none.
    std::optional<std::string> readFrom(int descriptor, const std::function<bool()>& isWanted);

    std::span<const std::byte> bytes() const { return {mBytes, mSize}; }
    void wipe();

private:
    std::optional<std::string> readToEnd(int descriptor, bool oneLine, const std::function<bool()>& isWanted);

    std::byte* mBytes = nullptr; ///< Pages of its own; null when the machine has none left.
    std::size_t mSize = 0;
};

} // namespace roamer::session
