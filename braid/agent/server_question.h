#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "threaded_pass_engine.h"

namespace braid::agent
{

/// Asks the server of a network home whether it is still there, without waiting for it.
///
/// A question that is not answered keeps its thread, in the same place as the pass that had it asked. For the main
/// thread.
class ServerQuestion
{
public:
    /// `post` runs a task on the main thread, later; it is used as long as isUnderWay.
    explicit ServerQuestion(PostToMain post) : mPost(std::move(post)) {}

    /// `answered` is called once the server has said something, be it an error: later, or never. At once where no
    /// server is involved.
    void ask(const std::string& networkHome, std::function<void()> answered);

    /// Whether some question has no answer yet. The process must not clean up then, but leave.
    bool isUnderWay() const { return *mUnanswered > 0; }

private:
    PostToMain mPost;
    std::shared_ptr<std::atomic<int>> mUnanswered = std::make_shared<std::atomic<int>>(0);
};

} // namespace braid::agent
