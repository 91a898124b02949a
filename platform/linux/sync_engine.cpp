#include "sync_engine.h"

#include <utility>

#include "braid/protocol.h"
#include "platform/failure.h"
#include "platform/linux/bus_values.h"
#include "platform/linux/engine_link.h"

namespace platform
{

namespace
{

namespace protocol = braid::protocol;
using roamer::Array;
using roamer::Dictionary;
using roamer::PropertyList;

void configure(EngineLink& link, const char* key, const PropertyList& value)
{
    link.call(protocol::kConfigureSet, {toBusValues(Dictionary{{key, value}})});
}

class EnginePeer final : public SyncPeer
{
public:
    struct Keys {
        const char* reference;
        const char* inclusionSets;
        const char* exclusionSets;
    };

    EnginePeer(std::shared_ptr<EngineLink> link, const Keys& keys) : mLink(std::move(link)), mKeys(keys) {}

    PropertyList peerRef() override { return mKeys.reference; }

    void setInclusionSets(const std::vector<std::set<std::string>>& sets) override
    {
        Array jobs;
        for (const auto& paths : sets) {
            jobs.emplace_back(Array(paths.begin(), paths.end()));
        }
        configure(*mLink, mKeys.inclusionSets, jobs);
    }

    void setExclusionSets(const std::vector<roamer::MatchRules>& sets) override
    {
        Array jobs;
        for (const auto& rules : sets) {
            Array array;
            for (const auto& rule : rules) {
                array.emplace_back(Dictionary{{protocol::kRuleForm, roamer::comparisonFormat(rule.form)},
                                              {protocol::kRuleValue, rule.value}});
            }
            jobs.emplace_back(std::move(array));
        }
        configure(*mLink, mKeys.exclusionSets, jobs);
    }

private:
    std::shared_ptr<EngineLink> mLink;
    Keys mKeys;
};

constexpr EnginePeer::Keys kLocalPeer{protocol::kLocalPeerRef, protocol::kLocalInclusionSets,
                                      protocol::kLocalExclusionSets};
constexpr EnginePeer::Keys kRemotePeer{protocol::kRemotePeerRef, protocol::kRemoteInclusionSets,
                                       protocol::kRemoteExclusionSets};

class EngineSet final : public PhdSyncSet
{
public:
    explicit EngineSet(const std::shared_ptr<EngineLink>& link)
        : mLink(link), mLocalPeer(link, kLocalPeer), mRemotePeer(link, kRemotePeer)
    {
    }

    int state() override
    {
        const auto status = info();
        const auto entry = status.find(kSyncSetStateKey);
        return entry == status.end() ? 0 : static_cast<int>(entry->second.integerReading().value_or(0));
    }

    bool isAutomaticallySyncing() override
    {
        const auto description = askDictionary(protocol::kDescribeSet);
        const auto entry = description.find(protocol::kIsAutomaticallySyncing);
        return entry != description.end() && entry->second.boolReading().value_or(false);
    }

    void setIsAutomaticallySyncing(bool on) override { configure(*mLink, protocol::kIsAutomaticallySyncing, on); }
    void setRemoteHomeXMLSpec(const std::optional<std::string>& url) override
    {
        configure(*mLink, protocol::kRemoteHomeXMLSpec, url.value_or(""));
    }
    void setMountSuffixPath(const std::optional<std::string>& path) override
    {
        configure(*mLink, protocol::kMountSuffixPath, path.value_or(""));
    }
    void setRemoteHomePath(const std::optional<std::string>& path) override
    {
        configure(*mLink, protocol::kRemoteHomePath, path.value_or(""));
    }
    void setDefaultSyncOptions(const std::vector<Dictionary>& options) override
    {
        configure(*mLink, protocol::kDefaultSyncOptions, Array(options.begin(), options.end()));
    }
    void setAutomaticSyncInterval(double interval) override
    {
        configure(*mLink, protocol::kAutomaticSyncInterval, interval);
    }
    void setAutoSyncOnFileSystemModification(bool on) override
    {
        configure(*mLink, protocol::kAutoSyncOnFileSystemModification, on);
    }
    void setNextSyncTime(roamer::Date date) override { configure(*mLink, protocol::kNextSyncTime, date); }

    SyncPeer& localPeer() override { return mLocalPeer; }
    SyncPeer& remotePeer() override { return mRemotePeer; }

    void startSync() override { mLink->startSync(); }
    void abortSync() override { mLink->ask(protocol::kAbortSync); }

    Dictionary info() override { return askDictionary(protocol::kInfo); }

    long lastSyncResult() override
    {
        const auto reply = mLink->ask(protocol::kLastSyncResult);
        return reply ? static_cast<long>(reply->value(0).toLongLong()) : 0;
    }

    unsigned unresolvedConflictCount() override
    {
        const auto status = info();
        const auto entry = status.find(kSyncSetUnresolvedConflictsCountKey);
        return entry == status.end() ? 0 : static_cast<unsigned>(entry->second.integerReading().value_or(0));
    }

    void displayConflictsAndErrors() override { mLink->call(protocol::kDisplayConflictsAndErrors); }

    StatusCallback statusCallback() const override { return mLink->mStatusCallback; }
    void setStatusCallback(StatusCallback callback) override { mLink->mStatusCallback = std::move(callback); }

    void forget() override
    {
        mLink->call(protocol::kForgetSet);
        mLink->mStatusCallback = nullptr;
    }

private:
    Dictionary askDictionary(const char* method)
    {
        const auto reply = mLink->ask(method);
        return reply ? dictionaryFrom(*reply) : Dictionary{};
    }

public:
    static Dictionary dictionaryFrom(const QVariantList& reply)
    {
        const auto value = fromBusValue(reply.value(0));
        const auto* dictionary = value.as<Dictionary>();
        return dictionary != nullptr ? *dictionary : Dictionary{};
    }

private:
    std::shared_ptr<EngineLink> mLink;
    EnginePeer mLocalPeer;
    EnginePeer mRemotePeer;
};

class EngineManager final : public SyncManager
{
public:
    EngineManager(RunLoop& runLoop, EngineStarter starter)
        : mLink(std::make_shared<EngineLink>(runLoop, std::move(starter)))
    {
    }

    std::shared_ptr<PhdSyncSet> phdSyncSet() override
    {
        for (int attempt = 0; attempt < kAttempts; ++attempt) {
            if (!mLink->ensureRunning()) return nullptr;
            // Nothing when the engine ended in between, as it does at a logout: then a new one is started.
            const auto reply = mLink->ask(protocol::kDescribeSet);
            if (!reply) continue;
            if (EngineSet::dictionaryFrom(*reply).empty()) return nullptr;
            return std::make_shared<EngineSet>(mLink);
        }
        return nullptr;
    }

    std::shared_ptr<PhdSyncSet> createPHDSyncSet(const std::string& name,
                                                 const std::optional<std::string>& remoteXMLSpec,
                                                 const std::optional<std::string>& mountSuffixPath) override
    {
        if (!mLink->ensureRunning()) throw Failure("EngineUnreachable", "the sync engine could not be started");
        mLink->call(protocol::kCreateSet, {toBusValues({{protocol::kName, name},
                                                        {protocol::kRemoteHomeXMLSpec, remoteXMLSpec.value_or("")},
                                                        {protocol::kMountSuffixPath, mountSuffixPath.value_or("")}})});
        mLink->mStatusCallback = nullptr;
        return std::make_shared<EngineSet>(mLink);
    }

    bool syncAgentIsRunning() override { return mLink->isRunning(); }
    std::shared_ptr<void> holdStarts() override { return mLink->holdStarts(); }
    void expectSyncAgent(int pid) override { mLink->expectProcess(pid); }

private:
    static constexpr int kAttempts = 2;

    std::shared_ptr<EngineLink> mLink;
};

} // namespace

std::unique_ptr<SyncManager> makeSyncManager(RunLoop& runLoop, EngineStarter starter)
{
    return std::make_unique<EngineManager>(runLoop, std::move(starter));
}

} // namespace platform
