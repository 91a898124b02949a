#include "history_world.h"

#include <unistd.h>

#include <atomic>
#include <csignal>
#include <filesystem>

#include "braid/disk/seam.h"
#include "home_pair.h"

namespace braid::sim
{

namespace
{

class SimWorld final : public World
{
public:
    explicit SimWorld(const History& history)
        : mSystem(history.seed), mLocal(&mSystem.add("local", history.local)),
          mNetwork(&mSystem.add("network", history.network))
    {
        mSystem.add("third", {});
    }

    std::string home(int number) const override
    {
        constexpr const char* kHomes[] = {"/sim/local", "/sim/network", "/sim/third"};
        return kHomes[number];
    }
    PassReport pass(const PassSettings& settings, const Mishap& mishap) override
    {
        const auto persons = mSystem.leaveToEngine();
        mSystem.start(mishap, *mNetwork);
        PassReport report = runPass(settings, {});
        if (mishap.kind != Mishap::Kind::None) mStruck = mSystem.mishapCall();
        mSystem.restart();
        mSystem.settlePersons(persons);
        return report;
    }
    ResolutionReport resolve(const Resolution& resolution) override
    {
        const auto persons = mSystem.leaveToEngine();
        mSystem.start({}, *mNetwork);
        ResolutionReport report = resolveConflicts(resolution, {});
        mSystem.restart();
        mSystem.settlePersons(persons);
        return report;
    }
    void wait(std::int64_t nanoseconds) override { mSystem.advance(nanoseconds); }
    void settle() override { mSystem.flushAll(); }
    std::shared_ptr<void> person() override { return std::make_shared<SimSystem::Person>(mSystem); }
    std::string emptyShare() override
    {
        mSystem.add("empty", {});
        return "/sim/empty";
    }
    void backUp() override { mBackup = mNetwork->nodes(); }
    bool restore() override
    {
        if (mBackup.empty()) return false;
        mNetwork->restore(mBackup);
        return true;
    }
    std::string struck() const override { return mStruck; }

private:
    SimSystem mSystem;
    Disk* mLocal;
    Disk* mNetwork;
    std::map<std::uint64_t, Node> mBackup;
    std::string mStruck;
};

std::atomic<long> gLeft{0};
Mishap gMishap; // the watcher is a plain function

int strike(seam::Operation, const char*)
{
    if (gLeft.fetch_sub(1) != 1) return 0;
    if (gMishap.kind == Mishap::Kind::Killed) ::raise(SIGKILL);
    if (gMishap.kind == Mishap::Kind::Meanwhile) {
        gMishap.meanwhile();
        return 0;
    }
    return gMishap.code;
}

class RealWorld final : public World
{
public:
    RealWorld() { std::filesystem::create_directory(mPair.top() / "third"); }

    std::string home(int number) const override
    {
        const auto third = mPair.top() / "third";
        return number == 0 ? mPair.local().native() : number == 1 ? mPair.network().native() : third.native();
    }
    PassReport pass(const PassSettings& settings, const Mishap& mishap) override
    {
        gMishap = mishap;
        gLeft = mishap.call;
        PassReport report;
        const auto work = [&] {
            seam::gWatcher = mishap.kind == Mishap::Kind::None ? nullptr : strike;
            report = runPass(settings, {});
        };
        if (mishap.kind == Mishap::Kind::Killed) {
            survives(work);
        } else {
            work();
        }
        seam::gWatcher = nullptr;
        return report;
    }
    ResolutionReport resolve(const Resolution& resolution) override { return resolveConflicts(resolution, {}); }
    void wait(std::int64_t) override {}
    void settle() override {}
    std::shared_ptr<void> person() override { return nullptr; }
    std::string emptyShare() override { return ""; }
    void backUp() override {}
    bool restore() override { return false; }
    std::string struck() const override { return ""; }

private:
    HomePair mPair;
};

} // namespace

std::unique_ptr<World> World::make(const History& history)
{
    if (history.isReal) return std::make_unique<RealWorld>();
    return std::make_unique<SimWorld>(history);
}

Scene::Scene(const History& history) : mWorld(World::make(history))
{
    mSettings.localHome = mWorld->home(0);
    mSettings.networkHome = mWorld->home(1);
    mSettings.jobs.resize(1);
}

void Scene::does(const Step& step)
{
    const auto doing = mWorld->person();
    carryOut(step, mWorld->home(step.home));
}

PassReport Scene::pass(const Mishap& mishap)
{
    mWorld->settle();
    mWorld->wait(10'000'000'000);
    return mWorld->pass(mSettings, mishap);
}

View Scene::view(int home) const
{
    const auto looking = mWorld->person();
    return viewOf(mWorld->home(home));
}

} // namespace braid::sim
