#include <gtest/gtest.h>

#include <algorithm>

#include "lists/exclusion_entry.h"
#include "tests/lists/home_rig.h"

/// The lists that are shipped, on a home as a person has it after some years.

namespace
{

using namespace roamer;
using namespace lists_test;

enum Share { Settings, Rest };

/// What should come of files of the home: in the job of their share, or kept out of it by one rule.
struct HomeItems {
    Share share;
    bool isSynced;
    std::string_view paths; ///< Between ", ".
};

constexpr HomeItems kHome[] = {
    {Rest, true,
     "Documents/cache analysis.odt, Documents/Trash/thrown away.txt, Documents/lock, Documents/notes.txt~, "
     "Documents/#1 hits.txt, Documents/.nfs notes, Documents/.config/app/Cache/kept.txt, Documents/$RECIPE.docx, "
     "Library of books/list.ods, Logs/ship.txt, Music/S.O.S..ogg, Pictures/thumbnails/a.png, "
     "src/thing/.git/index.lock, snap/editor/current/settings.json"},
    {Settings, true,
     ".bashrc, .config/app/Cache policy.ini, .config/pulse/client.conf, .mozilla/browser/x.default/lock.json, "
     ".config/browser/Default/Service Worker/Database/LOG, .ssh/agents.txt, .gnupg/pubring.kbx, "
     ".local/share/TrashTalk/scores, .local/state/editor/undo, .var/app/org.example.Draw/config/cache/kept, "
     ".cargo/config.toml, .npm/notes, .cachet, Library/Preferences/com.kestrel.roamer.other.plist"},
    // The sync's own, and what was deleted while open.
    {Settings, false, "Library/Preferences/com.kestrel.roamer.plist, .Braid/id, .vexlc, .fstemp0815/part"},
    {Rest, false,
     "Documents/.fstemp42, Documents/.nfs000000000abc0001000000ff, Documents/.fuse_hidden0000012300000004"},
    // One session on one computer.
    {Settings, false,
     ".Xauthority, .Xauthority-c, .ICEauthority, .ICEauthority-l, .serverauth.4711, .xsession-errors, "
     ".xsession-errors.old, "
     ".local/share/xorg/Xorg.0.log, .dbus/session-bus/0123-0, .gvfs/share, .config/ibus/bus/0123-unix-0, "
     ".config/pulse/0123-runtime, .config/pulse/cookie, .pulse-cookie, .ssh/agent/s.abc.agent.1, .ssh/jo@server.sock, "
     ".gnupg/S.gpg-agent.ssh, .screen/session"},
    // Locks, and editors at work.
    {Settings, false,
     ".gnupg/public-keys.d/pubring.db.lock, .mozilla/browser/x.default/lock, .thunderbird/x.default/.parentlock, "
     ".config/browser/SingletonLock, .config/office/4/.lock"},
    {Rest, false,
     "Documents/.#notes.txt, Documents/.~lock.plan.odt#, Documents/~$plan.docx, "
     "snap/browser/common/.mozilla/browser/x.default/.parentlock, snap/browser/common/.config/browser/SingletonSocket, "
     "Documents/.notes.txt.swp, Documents/#notes.txt#, Documents/.notes.txt.kate-swp, Documents/.goutputstream-ABC123"},
    // Trash and caches.
    {Settings, false,
     ".local/share/Trash/files/old.odt, .Trash/old.odt, .Trash-1000/files/old.odt, .cache/browser/entry, "
     ".thumbnails/normal/a.png, .mesa_shader_cache/index, .nv/ComputeCache/index, .ccache/0/stats, "
     ".npm/_cacache/index-v5/a, .gradle/caches/modules/a.jar, .cargo/registry/index/a, "
     ".var/app/org.example.Draw/cache/a, Library/Caches/a, .mozilla/browser/x.default/cache2/entries/a, "
     ".config/browser/Default/Code Cache/js/a, .var/app/org.example.Draw/config/draw/GPUCache/index, "
     ".config/browser/Default/Service Worker/CacheStorage/a, .config/browser/Crashpad/reports"},
    {Rest, false,
     "Volumes/stick/.Trash-1000/files/old.odt, snap/browser/common/.cache/a, "
     "snap/browser/42/.local/share/Trash/files/a"},
    // What describes one computer.
    {Settings, false,
     ".local/share/gvfs-metadata/home, .local/share/baloo/index, .local/share/tracker/data/a, "
     ".local/state/wireplumber/restore-stream, .config/pulse/0123-card-database.tdb, Library/Logs/today.log"},
    {Rest, false, "lost+found/#1234, Pictures/Thumbs.db"},
};

/// A job as the engine treats it: a rule that matches a folder keeps out everything below it.
struct Job {
    InclusionSet inclusions;
    std::vector<platform::Predicates::Predicate> rules;

    bool covers(const std::string& path) const
    {
        return inclusions && (inclusions->empty() ||
                              anyAbove(path, [this](const std::string& part) { return inclusions->contains(part); }));
    }
    long rulesAgainst(const std::string& path) const
    {
        return std::ranges::count_if(rules, [&](const auto& rule) { return anyAbove(path, rule); });
    }
    /// Of the path itself and the folders above it.
    static bool anyAbove(std::string path, const std::function<bool(const std::string&)>& matches)
    {
        for (; !path.empty(); path.resize(path.find('/') == std::string::npos ? 0 : path.rfind('/'))) {
            if (matches(path)) return true;
        }
        return false;
    }
};

class ShippedLists : public testing::Test
{
protected:
    struct Item {
        Share share;
        bool isSynced;
        std::string path;
    };

    ShippedLists()
    {
        const auto* file = ROAMER_SOURCE_DIR "/resources/Custodia.app/Contents/Resources/PavoDefaults.plist";
        mDefaults = mRig.domains.dictionaryWithContentsOfFile(file).value();
        mRig.setDefaults(mDefaults);
        for (auto [share, isSynced, paths] : kHome) {
            for (; !paths.empty(); paths.remove_prefix(std::min(paths.size(), mItems.back().path.size() + 2))) {
                mItems.push_back({share, isSynced, std::string(paths.substr(0, paths.find(", ")))});
                mRig.addLocal(mItems.back().path);
            }
        }
    }
    Job job(SyncType type)
    {
        MatchRules rules;
        Job result{mRig.lists.getSyncLists(type, {}, &rules), {}};
        for (const auto& rule : rules)
            result.rules.push_back(mRig.predicates->compile(rule));
        return result;
    }

    HomeRig mRig;
    Dictionary mDefaults;
    std::vector<Item> mItems;
};

TEST_F(ShippedLists, EveryItemIsInOneJobOrLeftOutByOneRule)
{
    const Dictionary wholeHome{{"syncedPrefFolders", paths({"~"})}};
    const Dictionary earlierDefault{{"excludedPrefItems", mDefaults.at("excludedPrefItems-10.4.3")}};
    struct Case {
        Dictionary user;
        SyncType type;
        Share share;
    } const cases[] = {
        {{}, kLoginPrefSync, Settings},
        {{}, kLoginPeriodicSync, Rest},
        {{}, kPeriodicAllPrefSync, Settings},
        {{}, kPeriodicSync, Rest},
        {wholeHome, kLoginPrefSync, Settings},
        {wholeHome, kLoginNonprefSync, Rest},
        {wholeHome, kLogoutPrefSync, Settings},
        {wholeHome, kLogoutNonprefSync, Rest},
        {earlierDefault, kLoginPrefSync, Settings},
    };
    for (const auto& c : cases) {
        mRig.setUser(c.user);
        const auto present = job(c.type);
        for (const auto& item : mItems) {
            SCOPED_TRACE(syncTypeUTF8String(c.type) + " " + item.path);
            const auto against = present.rulesAgainst(item.path);
            EXPECT_EQ(present.covers(item.path) && against == 0, c.share == item.share && item.isSynced);
            EXPECT_TRUE(c.share != item.share || against == (item.isSynced ? 0 : 1)) << against;
        }
    }
}

/// An entry that is misspelt matches nothing, and nobody would notice.
TEST_F(ShippedLists, EveryRuleKeepsSomethingOut)
{
    for (const auto* name : {"excludedAlways", "excludedPrefItems", "excludedItems", "excludedPrefItems-10.4.3"}) {
        for (const auto& element : *mDefaults.at(name).as<Array>()) {
            SCOPED_TRACE(element.description());
            const auto rule = ruleFromExclusionEntry(element);
            ASSERT_TRUE(rule && rule->form != ComparisonForm::PathEquals) << "no known comparison word";
            const Job alone{{}, {mRig.predicates->compile(*rule)}};
            EXPECT_TRUE(std::ranges::any_of(mItems, [&](const auto& item) { return alone.rulesAgainst(item.path); }));
        }
    }
}

TEST_F(ShippedLists, APersonsOwnListsDoNotUncoverTheSyncsOwnFiles)
{
    mRig.setUser({{"excludedPrefItems", Array{}}, {"excludedItems", Array{}}});
    for (const auto type : {kLoginSync, kLoginPrefSync, kLoginPeriodicSync, kPeriodicAllPrefSync, kNowPeriodicSync}) {
        for (const char* own : {"Library/Preferences/com.kestrel.roamer.plist", ".Braid", ".vexlc", ".fstemp1"})
            EXPECT_GT(job(type).rulesAgainst(own), 0) << own << ", " << syncTypeUTF8String(type);
    }
}

} // namespace
