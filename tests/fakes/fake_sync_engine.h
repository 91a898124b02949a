#pragma once

#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/failure.h"
#include "platform/sync_engine.h"
#include "tests/fakes/fake_run_loop.h"

namespace fakes
{

/// Remembers what it was given.
class FakeSyncPeer final : public platform::SyncPeer
{
public:
    explicit FakeSyncPeer(std::string ref) : mRef(std::move(ref)) {}
    roamer::PropertyList peerRef() override { return mRef; }
    void setInclusionSets(const std::vector<std::set<std::string>>& sets) override
    {
        if (refuses) throw platform::Failure("PeerRefused", "the peer takes nothing");
        inclusionSets = sets;
    }
    void setExclusionSets(const std::vector<roamer::MatchRules>& sets) override { exclusionSets = sets; }

    std::vector<std::set<std::string>> inclusionSets;
    std::vector<roamer::MatchRules> exclusionSets;
    bool refuses = false; ///< Inclusion sets raise.

private:
    std::string mRef;
};

/// A set without an engine: a test says what it reports, and reads what it was told.
class FakeSyncSet final : public platform::PhdSyncSet
{
public:
    using Status = roamer::Dictionary;

    // What a test says.
    Status present; ///< The present status: the answer of info() and, by its state, of state().
    long result = 0;
    std::set<std::string> failing; ///< Names of setters and commands that raise.
    std::function<void()> onStart; ///< Runs in startSync.
    std::function<void()> onAbort; ///< Runs in abortSync.
    std::function<void()> onInfo;  ///< Runs in info(), before the answer.
    std::function<void(FakeSyncSet&)> onForget;

    // What it was told.
    std::vector<std::string> calls; ///< Setters and commands in order, as named here.
    std::optional<std::string> remoteHomeXMLSpec{"unset"};
    std::optional<std::string> mountSuffixPath{"unset"};
    std::optional<std::string> remoteHomePath{"unset"};
    std::vector<roamer::Dictionary> defaultSyncOptions;
    bool automatic = true;
    double interval = -1;
    bool onModification = false;
    std::optional<roamer::Date> nextSyncTime;
    FakeSyncPeer local{"local"};
    FakeSyncPeer remote{"remote"};
    int infos = 0;
    int aborts = 0;
    int starts = 0;

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
    int count(const std::string& call) const
    {
        int found = 0;
        for (const auto& made : calls)
            found += made == call ? 1 : 0;
        return found;
    }

    int state() override
    {
        const auto item = present.find(platform::kSyncSetStateKey);
        return item == present.end() ? 0 : static_cast<int>(item->second.integerReading().value_or(0));
    }
    bool isAutomaticallySyncing() override { return automatic; }
    void setIsAutomaticallySyncing(bool on) override
    {
        called("setIsAutomaticallySyncing");
        automatic = on;
    }
    void setRemoteHomeXMLSpec(const std::optional<std::string>& url) override
    {
        called("setRemoteHomeXMLSpec");
        remoteHomeXMLSpec = url;
    }
    void setMountSuffixPath(const std::optional<std::string>& path) override
    {
        called("setMountSuffixPath");
        mountSuffixPath = path;
    }
    void setRemoteHomePath(const std::optional<std::string>& path) override
    {
        called("setRemoteHomePath");
        remoteHomePath = path;
    }
    void setDefaultSyncOptions(const std::vector<roamer::Dictionary>& options) override
    {
        called("setDefaultSyncOptions");
        defaultSyncOptions = options;
    }
    void setAutomaticSyncInterval(double seconds) override
    {
        called("setAutomaticSyncInterval");
        interval = seconds;
    }
    void setAutoSyncOnFileSystemModification(bool on) override
    {
        called("setAutoSyncOnFileSystemModification");
        onModification = on;
    }
    void setNextSyncTime(roamer::Date date) override
    {
        called("setNextSyncTime");
        nextSyncTime = date;
    }
    platform::SyncPeer& localPeer() override { return local; }
    platform::SyncPeer& remotePeer() override { return remote; }
    void startSync() override
    {
        called("startSync");
        ++starts;
        if (onStart) onStart();
    }
    void abortSync() override
    {
        calls.emplace_back("abortSync");
        ++aborts;
        if (onAbort) onAbort();
    }
    roamer::Dictionary info() override
    {
        ++infos;
        if (onInfo) onInfo();
        return present;
    }
    long lastSyncResult() override { return result; }
    platform::StatusCallback statusCallback() const override { return mCallback; }
    void setStatusCallback(platform::StatusCallback callback) override { mCallback = std::move(callback); }
    void forget() override
    {
        called("forget");
        if (onForget) onForget(*this);
    }

private:
    void called(const char* name)
    {
        calls.emplace_back(name);
        if (failing.contains(name)) throw platform::Failure("EngineFailure", std::string(name) + " was refused");
    }
    platform::StatusCallback mCallback;
};

/// The engine with at most one set.
class FakeSyncManager final : public platform::SyncManager
{
public:
    enum class Creation { Works, AnswersNull, Raises };
    struct Created {
        std::string name;
        std::optional<std::string> url;
        std::optional<std::string> path;
    };

    std::shared_ptr<FakeSyncSet> set;
    bool agentRunning = true;
    Creation creation = Creation::Works;
    std::vector<Created> created; ///< Every attempt.
    int asked = 0;                ///< For the set.

    /// A set as an engine has it that ran before.
    FakeSyncSet& addSet()
    {
        set = std::make_shared<FakeSyncSet>();
        set->onForget = [this](FakeSyncSet&) { set.reset(); };
        return *set;
    }

    std::shared_ptr<platform::PhdSyncSet> phdSyncSet() override
    {
        ++asked;
        return set;
    }
    std::shared_ptr<platform::PhdSyncSet> createPHDSyncSet(const std::string& name,
                                                           const std::optional<std::string>& remoteXMLSpec,
                                                           const std::optional<std::string>& mountSuffixPath) override
    {
        created.push_back({name, remoteXMLSpec, mountSuffixPath});
        if (creation == Creation::Raises) throw platform::Failure("EngineFailure", "no set today");
        if (creation == Creation::AnswersNull) return nullptr;
        auto& made = addSet();
        made.remoteHomeXMLSpec = remoteXMLSpec;
        made.mountSuffixPath = mountSuffixPath;
        return set;
    }
    bool syncAgentIsRunning() override { return agentRunning; }
};

} // namespace fakes
