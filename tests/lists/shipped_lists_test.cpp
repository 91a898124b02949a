#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <vector>

#include "lists/exclusion_entry.h"
#include "tests/lists/home_rig.h"

/// The lists that are shipped, on a home as a person has it after some years.

namespace
{

using namespace roamer;
using namespace lists_test;
using enum ComparisonForm;

enum Share { Settings, Rest };

/// What a file of the home should come to: in a job, or left out by this rule.
struct HomeItem {
    const char* path;
    Share share;
    const char* rule; ///< "" when it is synced; else the value of the rule.
};

constexpr const char* kAppCaches =
    R"((\.config|\.var/app/[^/]+/config|snap/.+/\.config)/.+/(Cache|Code Cache|CachedData|CachedExtensions|GPUCache|ShaderCache|GrShaderCache|DawnCache|DawnGraphiteCache|DawnWebGPUCache|Media Cache|Application Cache))";
constexpr const char* kAppWorkers =
    R"((\.config|\.var/app/[^/]+/config|snap/.+/\.config)/.+/Service Worker/(CacheStorage|ScriptCache))";
constexpr const char* kAppCrashes = R"((\.config|\.var/app/[^/]+/config|snap/.+/\.config)/.+/(Crashpad|Crash Reports))";
constexpr const char* kAppSingles =
    R"((\.config|\.var/app/[^/]+/config|snap/.+/\.config)/.+/Singleton(Lock|Socket|Cookie))";
constexpr const char* kAppLocks = R"((\.config|\.var/app/[^/]+/config|snap/.+/\.config)/.+/\.lock)";
constexpr const char* kProfileLocks = R"((.+/)?\.(mozilla|thunderbird)/.+/(lock|\.parentlock|parent\.lock))";
constexpr const char* kProfileCaches =
    R"((.+/)?\.(mozilla|thunderbird)/.+/(cache2?|startupCache|OfflineCache|shader-cache|thumbnails))";
constexpr const char* kOwnerFiles = R"([~]\$.+\.(doc|docx|docm|xls|xlsx|xlsm|ppt|pptx|pptm))";

const HomeItem kHome[] = {
    // Documents whose names only look like something that a list leaves out.
    {"Documents/cache analysis.odt", Rest, ""},
    {"Documents/Cache/readme.txt", Rest, ""},
    {"Documents/Trash/what I threw away.txt", Rest, ""},
    {"Documents/lock", Rest, ""},
    {"Documents/core", Rest, ""},
    {"Documents/notes.txt~", Rest, ""},
    {"Documents/#1 hits.txt", Rest, ""},
    {"Documents/budget.lock.ods", Rest, ""},
    {"Documents/holiday.swp", Rest, ""},
    {"Documents/.hidden notes", Rest, ""},
    {"Documents/.config/app/Cache/kept.txt", Rest, ""},
    {"Documents/Library/books.ods", Rest, ""},
    {"Documents/$RECIPE.docx", Rest, ""},
    {"Library of books/list.ods", Rest, ""},
    {"Logs/ship.txt", Rest, ""},
    {"Mail/inbox", Rest, ""},
    {"Music/S.O.S..ogg", Rest, ""},
    {"Pictures/thumbnails/a.png", Rest, ""},
    {"src/thing/.git/config", Rest, ""},
    {"src/thing/.git/index.lock", Rest, ""},
    {"snap/editor/current/settings.json", Rest, ""},
    {"bin/tool", Rest, ""},
    // Settings.
    {".bashrc", Settings, ""},
    {".config/dconf/user", Settings, ""},
    {".config/app/settings.ini", Settings, ""},
    {".config/app/Cache policy.ini", Settings, ""},
    {".config/pulse/client.conf", Settings, ""},
    {".config/browser/Default/Bookmarks", Settings, ""},
    {".config/browser/Default/Service Worker/Database/LOG", Settings, ""},
    {".mozilla/browser/x.default/places.sqlite", Settings, ""},
    {".mozilla/browser/x.default/lock.json", Settings, ""},
    {".ssh/id_ed25519", Settings, ""},
    {".ssh/agents.txt", Settings, ""},
    {".gnupg/pubring.kbx", Settings, ""},
    {".local/share/applications/my.desktop", Settings, ""},
    {".local/share/TrashTalk/scores", Settings, ""},
    {".local/state/editor/undo", Settings, ""},
    {".var/app/org.example.Draw/data/brushes", Settings, ""},
    {".var/app/org.example.Draw/config/cache/kept", Settings, ""},
    {".cargo/config.toml", Settings, ""},
    {".gradle/gradle.properties", Settings, ""},
    {".npm/notes", Settings, ""},
    {".cachet", Settings, ""},
    {"Library/Preferences/org.example.draw.plist", Settings, ""},
    {"Library/Preferences/com.kestrel.roamer.other.plist", Settings, ""},
    {"Library/Fonts/My.ttf", Settings, ""},
    // The sync's own.
    {"Library/Preferences/com.kestrel.roamer.plist", Settings, "Library/Preferences/com.kestrel.roamer.plist"},
    {".Braid/id", Settings, ".Braid"},
    {".vexlc", Settings, ".vexlc"},
    {".fstemp0815/part", Settings, ".fstemp"},
    {"Documents/.fstemp42", Rest, ".fstemp"},
    // Deleted while open.
    {"Documents/.nfs000000000abc0001000000ff", Rest, R"(\.nfs[0-9a-f]{16,})"},
    {"Documents/.nfs notes", Rest, ""},
    {"Documents/.fuse_hidden0000012300000004", Rest, R"(\.fuse_hidden[0-9a-f]{16,})"},
    // One session on one computer.
    {".Xauthority", Settings, ".Xauthority"},
    {".Xauthority-c", Settings, ".Xauthority-?"},
    {".ICEauthority", Settings, ".ICEauthority"},
    {".ICEauthority-l", Settings, ".ICEauthority-?"},
    {".serverauth.4711", Settings, ".serverauth.*"},
    {".xsession-errors", Settings, ".xsession-errors*"},
    {".xsession-errors.old", Settings, ".xsession-errors*"},
    {".local/share/xorg/Xorg.0.log", Settings, ".local/share/xorg"},
    {".dbus/session-bus/0123-0", Settings, ".dbus"},
    {".gvfs/share", Settings, ".gvfs"},
    {".config/ibus/bus/0123-unix-0", Settings, ".config/ibus/bus"},
    {".config/pulse/0123-runtime", Settings, ".config/pulse/*-runtime"},
    {".config/pulse/cookie", Settings, ".config/pulse/cookie"},
    {".pulse-cookie", Settings, ".pulse-cookie"},
    {".ssh/agent/s.abc.agent.1", Settings, ".ssh/agent"},
    {".ssh/jo@server.sock", Settings, ".ssh/*.sock"},
    {".gnupg/S.gpg-agent.ssh", Settings, R"(\.gnupg/(.+/)?S\.[^/]+)"},
    {".screen/session", Settings, ".screen"},
    // Locks.
    {"Documents/.#notes.txt", Rest, ".#"},
    {"Documents/.~lock.plan.odt#", Rest, R"(\.~lock\..+#)"},
    {"Documents/~$plan.docx", Rest, kOwnerFiles},
    {".gnupg/public-keys.d/pubring.db.lock", Settings, R"(\.gnupg/(.+/)?[^/]+\.lock)"},
    {".mozilla/browser/x.default/lock", Settings, kProfileLocks},
    {".thunderbird/x.default/.parentlock", Settings, kProfileLocks},
    {"snap/browser/common/.mozilla/browser/x.default/.parentlock", Rest, kProfileLocks},
    {".config/browser/SingletonLock", Settings, kAppSingles},
    {"snap/browser/common/.config/browser/SingletonSocket", Rest, kAppSingles},
    {".config/office/4/.lock", Settings, kAppLocks},
    // Editors at work.
    {"Documents/.notes.txt.swp", Rest, R"(\..+\.sw[a-p])"},
    {"Documents/#notes.txt#", Rest, "#.+#"},
    {"Documents/.notes.txt.kate-swp", Rest, ".kate-swp"},
    {"Documents/.goutputstream-ABC123", Rest, R"(\.goutputstream-[A-Za-z0-9]{6})"},
    // Trash and caches.
    {".local/share/Trash/files/old.odt", Settings, ".local/share/Trash"},
    {".Trash/old.odt", Settings, ".Trash"},
    {".Trash-1000/files/old.odt", Settings, R"(\.Trash-[0-9]+)"},
    {"Volumes/stick/.Trash-1000/files/old.odt", Rest, R"(\.Trash-[0-9]+)"},
    {".cache/browser/entry", Settings, ".cache"},
    {".thumbnails/normal/a.png", Settings, ".thumbnails"},
    {".mesa_shader_cache/index", Settings, ".mesa_shader_cache"},
    {".nv/ComputeCache/index", Settings, ".nv"},
    {".ccache/0/stats", Settings, ".ccache"},
    {".npm/_cacache/index-v5/a", Settings, ".npm/_cacache"},
    {".gradle/caches/modules/a.jar", Settings, ".gradle/caches"},
    {".cargo/registry/index/a", Settings, ".cargo/registry"},
    {".var/app/org.example.Draw/cache/a", Settings, R"(\.var/app/[^/]+/cache)"},
    {"Library/Caches/a", Settings, "Library/Caches"},
    {".mozilla/browser/x.default/cache2/entries/a", Settings, kProfileCaches},
    {".config/browser/Default/Code Cache/js/a", Settings, kAppCaches},
    {".config/editor/CachedData/a", Settings, kAppCaches},
    {".var/app/org.example.Draw/config/draw/GPUCache/index", Settings, kAppCaches},
    {".config/browser/Default/Service Worker/CacheStorage/a", Settings, kAppWorkers},
    {".config/browser/Crashpad/reports", Settings, kAppCrashes},
    {"snap/browser/common/.cache/a", Rest, R"(snap/[^/]+/[^/]+/\.cache)"},
    {"snap/browser/42/.local/share/Trash/files/a", Rest, R"(snap/[^/]+/[^/]+/\.local/share/Trash)"},
    // What describes one computer.
    {".local/share/gvfs-metadata/home", Settings, ".local/share/gvfs-metadata"},
    {".local/share/baloo/index", Settings, ".local/share/baloo"},
    {".local/share/tracker/data/a", Settings, ".local/share/tracker"},
    {".local/state/wireplumber/restore-stream", Settings, ".local/state/wireplumber"},
    {".config/pulse/0123-card-database.tdb", Settings, ".config/pulse/*.tdb"},
    {"Library/Logs/today.log", Settings, "Library/Logs"},
    {"lost+found/#1234", Rest, "lost+found"},
    {"Pictures/Thumbs.db", Rest, "Thumbs.db"},
};

/// A job as the engine treats it: a rule that matches a folder keeps out everything below it.
class Job
{
public:
    Job(InclusionSet inclusions, const MatchRules& rules, platform::Predicates& predicates)
        : mInclusions(std::move(inclusions))
    {
        for (const auto& rule : rules)
            mRules.emplace_back(rule.value, predicates.compile(rule));
    }

    const InclusionSet& inclusions() const { return mInclusions; }
    bool covers(const std::string& path) const
    {
        return mInclusions && (mInclusions->empty() || std::ranges::any_of(upwards(path), [&](const std::string& part) {
                                   return mInclusions->contains(part);
                               }));
    }
    /// The rules that keep the path out, by their values.
    std::set<std::string> rulesAgainst(const std::string& path) const
    {
        std::set<std::string> result;
        for (const auto& [value, matches] : mRules) {
            if (std::ranges::any_of(upwards(path), matches)) result.insert(value);
        }
        return result;
    }
    bool takes(const std::string& path) const { return covers(path) && rulesAgainst(path).empty(); }

private:
    /// The path and the folders above it.
    static std::vector<std::string> upwards(const std::string& path)
    {
        std::vector<std::string> result{path};
        for (auto slash = path.rfind('/'); slash != std::string::npos; slash = result.back().rfind('/'))
            result.push_back(result.back().substr(0, slash));
        return result;
    }

    InclusionSet mInclusions;
    std::vector<std::pair<std::string, platform::Predicates::Predicate>> mRules;
};

class ShippedLists : public testing::Test
{
protected:
    void SetUp() override
    {
        const std::filesystem::path file =
            std::filesystem::path(ROAMER_SOURCE_DIR) / "resources/Custodia.app/Contents/Resources/PavoDefaults.plist";
        const auto text = fakes::TempRoot::readFile(file);
        const auto parsed = mRig.codec->parse(std::as_bytes(std::span(text)));
        ASSERT_TRUE(std::holds_alternative<PropertyList>(parsed)) << file;
        mDefaults = *std::get<PropertyList>(parsed).as<Dictionary>();
        mRig.setDefaults(mDefaults);
        mRig.setUser({});
        for (const auto& item : kHome)
            mRig.addLocal(item.path);
        mRig.addNetwork(".profile");
    }
    Job job(SyncType type)
    {
        const auto [inclusions, rules] = listsOf(type);
        return {inclusions, rules, *mRig.predicates};
    }
    std::pair<InclusionSet, MatchRules> listsOf(SyncType type)
    {
        MatchRules rules;
        auto inclusions = mRig.lists.getSyncLists(type, {}, &rules);
        return {std::move(inclusions), std::move(rules)};
    }
    /// Each item is in the job of its share and in no other, or kept out by the rule that its row names and no other.
    void expectEachInItsShare(const std::vector<std::pair<Share, Job>>& jobs)
    {
        for (const auto& item : kHome) {
            SCOPED_TRACE(item.path);
            for (const auto& [share, job] : jobs) {
                const auto against = job.rulesAgainst(item.path);
                EXPECT_EQ(job.takes(item.path), share == item.share && *item.rule == '\0')
                    << testing::PrintToString(against);
                if (share == item.share && *item.rule != '\0') {
                    EXPECT_EQ(against, std::set<std::string>{item.rule});
                }
            }
        }
    }

    HomeRig mRig;
    Dictionary mDefaults;
};

TEST_F(ShippedLists, AtLoginEveryItemIsInOneJobOrLeftOutByOneRule)
{
    EXPECT_EQ(job(kLoginNonprefSync).inclusions(), InclusionSet{}) << "without a list of one's own there are no others";
    expectEachInItsShare({{Settings, job(kLoginPrefSync)}, {Rest, job(kLoginPeriodicSync)}});
    EXPECT_TRUE(job(kLoginPrefSync).covers(".profile")) << "hidden in the network home alone";
}

TEST_F(ShippedLists, InTheBackgroundToo)
{
    expectEachInItsShare({{Settings, job(kPeriodicAllPrefSync)}, {Rest, job(kPeriodicSync)}});
}

TEST_F(ShippedLists, WithAWholeHomeAtLoginTheOtherItemsGetAJob)
{
    mRig.setUser({{"syncedPrefFolders", paths({"~"})}});
    expectEachInItsShare({{Settings, job(kLoginPrefSync)}, {Rest, job(kLoginNonprefSync)}});
    expectEachInItsShare({{Settings, job(kLogoutPrefSync)}, {Rest, job(kLogoutNonprefSync)}});
}

TEST_F(ShippedLists, TheWholeLoginSetIsWhatItsPartsShareOut)
{
    for (const char* list : {"Library", "~", "~/Documents"}) {
        SCOPED_TRACE(list);
        if (std::string_view(list) != "Library") mRig.setUser({{"syncedPrefFolders", paths({list})}});
        const auto whole = job(kLoginSync);
        const Job parts[] = {job(kLoginPrefSync), job(kLoginNonprefSync)};
        ASSERT_TRUE(whole.inclusions());
        int covered = 0;
        for (const auto& item : kHome) {
            SCOPED_TRACE(item.path);
            if (!whole.takes(item.path)) continue;
            ++covered;
            EXPECT_EQ(std::ranges::count_if(parts, [&](const Job& part) { return part.takes(item.path); }), 1);
        }
        EXPECT_GT(covered, 0);
    }
}

/// An entry that is misspelt matches nothing, and nobody would notice.
TEST_F(ShippedLists, EveryRuleKeepsSomethingOut)
{
    for (const auto* name : {"excludedAlways", "excludedPrefItems", "excludedItems", "excludedPrefItems-10.4.3"}) {
        SCOPED_TRACE(name);
        const auto list = mRig.preferences.getDefaultList(name);
        ASSERT_TRUE(list);
        std::set<MatchRule> seen;
        for (const auto& element : *list) {
            SCOPED_TRACE(element.description());
            const auto rule = ruleFromExclusionEntry(element);
            ASSERT_TRUE(rule);
            EXPECT_NE(rule->form, PathEquals) << "no known comparison word";
            EXPECT_TRUE(seen.insert(*rule).second) << "twice in one list";
            const Job alone({}, {*rule}, *mRig.predicates);
            EXPECT_TRUE(std::ranges::any_of(
                kHome, [&](const HomeItem& item) { return !alone.rulesAgainst(item.path).empty(); }));
        }
    }
}

TEST_F(ShippedLists, APersonsOwnListsDoNotUncoverTheSyncsOwnFiles)
{
    mRig.setUser({{"excludedPrefItems", Array{}}, {"excludedItems", Array{}}});
    for (const auto type : {kLoginSync, kLoginPrefSync, kLoginPeriodicSync, kPeriodicAllPrefSync, kNowPeriodicSync}) {
        const auto present = job(type);
        for (const char* own : {"Library/Preferences/com.kestrel.roamer.plist", ".Braid", ".vexlc", ".fstemp1"}) {
            EXPECT_FALSE(present.rulesAgainst(own).empty()) << own << ", " << syncTypeUTF8String(type);
        }
    }
}

TEST_F(ShippedLists, TheEarlierDefaultGivesWayToTodays)
{
    const auto today = listsOf(kLoginPrefSync);
    mRig.setUser({{"excludedPrefItems", mDefaults.at("excludedPrefItems-10.4.3")}});
    EXPECT_EQ(listsOf(kLoginPrefSync), today);
}

} // namespace
