#pragma once

#include <cstring>
#include <optional>
#include <string>
#include <utility>

namespace platform
{

/// A text that nobody else is to see: its memory is wiped when it goes. Not copied.
class Secret
{
public:
    Secret() = default;
    explicit Secret(std::string text) : mText(std::move(text)) {}
    ~Secret() { wipe(); }
    Secret(Secret&& other) noexcept { *this = std::move(other); }
    Secret& operator=(Secret&& other) noexcept
    {
        if (this == &other) return *this;
        wipe();
        mText = std::move(other.mText);
        other.wipe(); // a short text lies in the object itself and stays there
        return *this;
    }
    Secret(const Secret&) = delete;
    Secret& operator=(const Secret&) = delete;

    /// Null: there is none.
    const std::optional<std::string>& text() const { return mText; }

    // Not inline: GCC 12 would warn of the text that an empty one has not got.
    [[gnu::noinline]] void wipe()
    {
        if (!mText) return;
        mText->resize(mText->capacity());
        ::explicit_bzero(mText->data(), mText->size());
        mText.reset();
    }

private:
    std::optional<std::string> mText;
};

/// What the process that started this one hands over on the standard input: the password of the login.
class StandardInput
{
public:
    virtual ~StandardInput() = default;

    /// Reads to the end, in slices of the run loop while there is nothing to read, and then lets go of the input: a
    /// second call finds it empty. The text as it came; null when it is no UTF-8, longer than any password, cannot be
    /// read, or its end did not come before the process is to end.
    virtual Secret readPassword() = 0;
};

} // namespace platform
