#pragma once

#include <algorithm>
#include <tuple>

#include "platform/failure.h"
#include "platform/sync_engine.h"
#include "tests/fakes/fake_run_loop.h"

namespace fakes
{

/// Remembers what it was given.
struct FakeSyncPeer final : platform::SyncPeer {
    explicit FakeSyncPeer(std::string peerRef) : ref(std::move(peerRef)) {}
    roamer::PropertyList peerRef() override { return ref; }
    void setInclusionSets(const std::vector<std::set<std::string>>& sets) override { inclusionSets = sets; }
    void setExclusionSets(const std::vector<roamer::MatchRules>& sets) override { exclusionSets = sets; }

    std::vector<std::set<std::string>> inclusionSets;
    std::vector<roamer::MatchRules> exclusionSets;
    std::string ref;
};

/// A set without an engine: a test says what it reports, and reads what it was told.
class FakeSyncSet final : public platform::PhdSyncSet
{
public:
    using Status = roamer::Dictionary;
    using Text = std::optional<std::string>;
    using Options = std::vector<roamer::Dictionary>;

    // What a test says.
    Status present; ///< The present status: the answer of info() and, by its state, of state().
    long result = 0;
    std::set<std::string> failing; ///< Names of setters and commands that raise.
    std::function<void()> onStart; ///< Runs in startSync.
    std::function<void()> onAbort; ///< Runs in abortSync.
    std::function<void()> onInfo;  ///< Runs in info(), before the answer.
    std::function<void()> onForget;

    // What it was told.
    std::vector<std::string> calls; ///< Setters and commands in order, as named here.
    Text remoteHomeXMLSpec{"unset"};
    Text mountSuffixPath{"unset"};
    Text remoteHomePath{"unset"};
    Options defaultSyncOptions;
    bool automatic = true;
    double interval = -1;
    bool onModification = false;
    std::optional<roamer::Date> nextSyncTime;
    FakeSyncPeer local{"local"};
    FakeSyncPeer remote{"remote"};

    static Status status(int state, Status more = {})
    {
        more[platform::kSyncSetStateKey] = state;
        return more;
    }
    /// The engine says this now, to whoever listens.
    void report(Status news)
    {
        present = std::move(news);
        const auto callback = mCallback; // it may replace itself
        if (callback) callback(present);
    }
    /// ... and these at their seconds from now.
    void script(FakeRunLoop& loop, std::initializer_list<std::pair<double, Status>> statuses)
    {
        for (const auto& [seconds, news] : statuses) {
            loop.at(seconds, [this, news = news] { report(news); });
        }
    }
    bool hasCallback() const { return static_cast<bool>(mCallback); }
    long count(const std::string& call) const { return std::ranges::count(calls, call); }

    int state() override
    {
        const auto item = present.find(platform::kSyncSetStateKey);
        return item == present.end() ? 0 : static_cast<int>(*item->second.integerReading());
    }
    bool isAutomaticallySyncing() override { return automatic; }
    void setIsAutomaticallySyncing(bool on) override { set("setIsAutomaticallySyncing", automatic, on); }
    void setRemoteHomeXMLSpec(const Text& url) override { set("setRemoteHomeXMLSpec", remoteHomeXMLSpec, url); }
    void setMountSuffixPath(const Text& path) override { set("setMountSuffixPath", mountSuffixPath, path); }
    void setRemoteHomePath(const Text& path) override { set("setRemoteHomePath", remoteHomePath, path); }
    void setDefaultSyncOptions(const Options& all) override { set("setDefaultSyncOptions", defaultSyncOptions, all); }
    void setAutomaticSyncInterval(double seconds) override { set("setAutomaticSyncInterval", interval, seconds); }
    void setAutoSyncOnFileSystemModification(bool on) override
    {
        set("setAutoSyncOnFileSystemModification", onModification, on);
    }
    void setNextSyncTime(roamer::Date date) override { set("setNextSyncTime", nextSyncTime, date); }
    platform::SyncPeer& localPeer() override { return local; }
    platform::SyncPeer& remotePeer() override { return remote; }
    void startSync() override
    {
        called("startSync");
        if (onStart) onStart();
    }
    void abortSync() override
    {
        calls.emplace_back("abortSync");
        if (onAbort) onAbort();
    }
    roamer::Dictionary info() override
    {
        if (onInfo) onInfo();
        return present;
    }
    long lastSyncResult() override { return result; }
    unsigned unresolvedConflictCount() override
    {
        const auto item = present.find(platform::kSyncSetUnresolvedConflictsCountKey);
        return item == present.end() ? 0 : static_cast<unsigned>(*item->second.integerReading());
    }
    void displayConflictsAndErrors() override { called("displayConflictsAndErrors"); }
    platform::StatusCallback statusCallback() const override { return mCallback; }
    void setStatusCallback(platform::StatusCallback callback) override { mCallback = std::move(callback); }
    void forget() override
    {
        called("forget");
        if (onForget) onForget();
    }

private:
    void called(const char* name)
    {
        calls.emplace_back(name);
        if (failing.contains(name)) throw platform::Failure("EngineFailure", std::string(name) + " was refused");
    }
    template <typename Field, typename Value>
    void set(const char* name, Field& field, const Value& value)
    {
        called(name);
        field = value;
    }
    platform::StatusCallback mCallback;
};

/// The engine with at most one set.
class FakeSyncManager final : public platform::SyncManager
{
public:
    enum class Creation { Works, AnswersNull, Raises };
    using Text = std::optional<std::string>;
    using Created = std::tuple<std::string, Text, Text>; ///< Name, URL and path.

    std::shared_ptr<FakeSyncSet> set;
    bool agentRunning = true;
    Creation creation = Creation::Works;
    std::vector<Created> created; ///< Every attempt.

    /// A set as an engine has it that ran before.
    FakeSyncSet& addSet()
    {
        set = std::make_shared<FakeSyncSet>();
        set->onForget = [this] { set.reset(); };
        return *set;
    }

    std::shared_ptr<platform::PhdSyncSet> phdSyncSet() override { return set; }
    std::shared_ptr<platform::PhdSyncSet> createPHDSyncSet(const std::string& name, const Text& url,
                                                           const Text& path) override
    {
        created.emplace_back(name, url, path);
        if (creation == Creation::Raises) throw platform::Failure("EngineFailure", "no set today");
        if (creation == Creation::AnswersNull) return nullptr;
        auto& made = addSet();
        made.remoteHomeXMLSpec = url;
        made.mountSuffixPath = path;
        return set;
    }
    bool syncAgentIsRunning() override { return agentRunning; }
    std::shared_ptr<void> holdStarts() override { return std::shared_ptr<void>(mStartsAreHeld, mStartsAreHeld.get()); }
    void expectSyncAgent(int pid) override { expectedPid = pid; }
    int expectedPid = 0;
    bool startsAreHeld() const { return mStartsAreHeld.use_count() > 1; }

private:
    std::shared_ptr<int> mStartsAreHeld = std::make_shared<int>(0);
};

} // namespace fakes
