#pragma once

#include <memory>
#include <string>

#include "braid/resolve.h"
#include "histories.h"
#include "home_view.h"

namespace braid::sim
{

/// The three homes of a history, and what happens around them.
class World
{
public:
    static std::unique_ptr<World> make(const History& history);
    virtual ~World() = default;

    /// 0 local, 1 network, 2 the third computer's.
    virtual std::string home(int number) const = 0;
    /// With a computer that is running again when it returns.
    virtual PassReport pass(const PassSettings& settings, const Mishap& mishap) = 0;
    virtual ResolutionReport resolve(const Resolution& resolution) = 0;
    virtual void wait(std::int64_t nanoseconds) = 0;
    /// What people wrote is on its disk.
    virtual void settle() = 0;
    /// While it lives what is done is not the engine's.
    virtual std::shared_ptr<void> person() = 0;
    virtual std::string emptyShare() = 0;
    virtual void backUp() = 0;
    virtual bool restore() = 0;             ///< False: there is no backup.
    virtual std::string struck() const = 0; ///< The call that the last mishap hit, or "".
};

/// For a test that tells its own history: two homes with one job for all that is in them.
class Scene
{
public:
    explicit Scene(const History& history = {});

    void does(const Step& step);
    /// After a while in which nobody did anything.
    PassReport pass(const Mishap& mishap = {});
    View view(int home) const;
    World& world() const { return *mWorld; }
    PassSettings& settings() { return mSettings; }

private:
    std::unique_ptr<World> mWorld;
    PassSettings mSettings;
};

} // namespace braid::sim
