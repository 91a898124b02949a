#pragma once

#include <cstddef>
#include <span>
#include <string_view>

namespace lobby
{

/// A password in memory of its own, which is neither swapped nor dumped nor seen by child processes, and is wiped when
/// it goes.
class Secret
{
public:
    Secret() = default;
    explicit Secret(std::string_view text);
    ~Secret();
    Secret(Secret&& other) noexcept;
    Secret& operator=(Secret&& other) noexcept;
    Secret(const Secret&) = delete;
    Secret& operator=(const Secret&) = delete;

    /// False when more than fits was to be added; then nothing was.
    [[nodiscard]] bool append(std::string_view text);
    bool isEmpty() const { return mSize == 0; }
    std::string_view view() const { return {mMemory, mSize}; }

    static constexpr std::size_t kCapacity = 4096;

private:
    char* mMemory = nullptr;
    std::size_t mSize = 0;
};

} // namespace lobby
