#pragma once

#include <cstddef>
#include <string_view>

namespace roamer::pam
{

/// A password in memory that is never swapped out or dumped, wiped when it goes.
class Password
{
public:
    explicit Password(std::string_view text);
    ~Password();
    Password(const Password&) = delete;
    Password& operator=(const Password&) = delete;

    std::string_view text() const { return {mMemory, mLength}; }

private:
    char* mMemory = nullptr; ///< Null: there was no memory, and the text is empty.
    std::size_t mLength = 0;
};

} // namespace roamer::pam
