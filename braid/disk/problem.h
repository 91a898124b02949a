#pragma once

#include <string>
#include <utility>
#include <variant>

namespace braid
{

/// What went wrong with one item or one home, from a system call or from the archive.
struct Problem {
    int code = 0;     ///< errno value.
    std::string call; ///< What was tried, for the log and the message: "read", "rename" …
    std::string path; ///< Home-relative where it concerns an item, else absolute.

    /// For a person: what happened and why, without the path.
    std::string words() const;
};

/// The words for an errno value, as a person reads them.
std::string errorWords(int code);

/// The errno value says that there is no room left, or none that this user may take.
bool isFull(int code);

/// A value, or the problem that kept it from coming about.
template <class T>
class Outcome
{
public:
    Outcome(T value) : mState(std::in_place_index<0>, std::move(value)) {}
    Outcome(Problem problem) : mState(std::in_place_index<1>, std::move(problem)) {}

    explicit operator bool() const { return mState.index() == 0; }
    T& operator*() { return std::get<0>(mState); }
    const T& operator*() const { return std::get<0>(mState); }
    T* operator->() { return &std::get<0>(mState); }
    const T* operator->() const { return &std::get<0>(mState); }
    const Problem& problem() const { return std::get<1>(mState); }

private:
    std::variant<T, Problem> mState;
};

} // namespace braid
