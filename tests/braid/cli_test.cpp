#include "braid/cli/options.h"

#include <gtest/gtest.h>

#include "braid/cli/output.h"
#include "home_pair.h"

namespace braid::cli
{
namespace
{

struct EntryCase {
    const char* text;
    std::optional<Comparison> comparison; ///< Nothing: excludes nothing.
    const char* value;
};

TEST(CommandLine, ExclusionEntriesBecomeRules)
{
    const EntryCase cases[] = {
        {"startsWith:tmp", Comparison::NameBeginsWith, "tmp"},
        {"startsWith:IMAP-", Comparison::PathLike, "Library/Mail/IMAP-*"},
        {"startsWith:~Exchange-", Comparison::PathLike, "Library/Mail/Exchange-*"},
        {"startsWith:imap-", Comparison::NameBeginsWith, "imap-"},
        {"endsWith:.iso", Comparison::NameEndsWith, ".iso"},
        {"contains:x", Comparison::NameContains, "x"},
        {"partialPath:a/b", Comparison::PathContains, "a/b"},
        {"regex:a.*", Comparison::NameMatches, "a.*"},
        {"regexPath:a/.*", Comparison::PathMatches, "a/.*"},
        {"is:*.o", Comparison::NameLike, "*.o"},
        {"fullPath:~/Library/Caches", Comparison::PathLike, "Library/Caches"},
        {"FullPath:Library", Comparison::PathEquals, "Library"},
        {"anything:a:b", Comparison::PathEquals, "a:b"},
        {"is:~/", std::nullopt, ""},
        {"is:", std::nullopt, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        const auto rule = ruleFrom(c.text);
        ASSERT_TRUE(std::holds_alternative<std::optional<MatchRule>>(rule));
        const auto& made = std::get<std::optional<MatchRule>>(rule);
        ASSERT_EQ(made.has_value(), c.comparison.has_value());
        if (!made) continue;
        EXPECT_EQ(made->comparison(), *c.comparison);
        EXPECT_EQ(made->value(), c.value);
    }
    EXPECT_TRUE(std::holds_alternative<std::string>(ruleFrom("no colon")));
    EXPECT_TRUE(std::holds_alternative<std::string>(ruleFrom("regex:(")));
}

TEST(CommandLine, OptionsBecomeAJob)
{
    const char* words[] = {
        "braid",  "sync",      "here",   "there",     "--include",    "a/b",       "--include",          "c",
        "--json", "--exclude", "is:*.o", "--resolve", "copy-network", "--dry-run", "--abort-on-conflict"};
    const auto parsed = parse(static_cast<int>(std::size(words)), words);
    ASSERT_TRUE(std::holds_alternative<Request>(parsed));
    const auto& options = std::get<SyncOptions>(std::get<Request>(parsed));
    EXPECT_EQ(options.settings.localHome, "here");
    EXPECT_EQ(options.settings.networkHome, "there");
    EXPECT_TRUE(options.settings.dryRun);
    EXPECT_TRUE(options.json);
    ASSERT_EQ(options.settings.jobs.size(), 1U);
    const Job& job = options.settings.jobs[0];
    EXPECT_EQ(job.inclusions, (std::set<std::string>{"a/b", "c"}));
    EXPECT_EQ(job.exclusions.size(), 1U);
    EXPECT_EQ(job.options.resolveConflictsInFavorOf, Peer::Network);
    EXPECT_EQ(job.options.readOnlyPeer, Peer::Network);
    EXPECT_TRUE(job.options.abortOnConflict);
}

TEST(CommandLine, WhatItCannotUnderstandIsAUsageError)
{
    const std::vector<std::vector<const char*>> cases{
        {"braid"},
        {"braid", "sync", "here"},
        {"braid", "sync", "here", "there", "more"},
        {"braid", "sync", "here", "there", "--resolve", "both"},
        {"braid", "sync", "here", "there", "--exclude", "plain"},
        {"braid", "sync", "here", "there", "--exclude", "regex:["},
        {"braid", "sink", "here", "there"},
        {"braid", "sync", "here", "there", "--unknown"},
        {"braid", "resolve", "/here", "--keep", "both"},
        {"braid", "forget", ""},
        {"braid", "trash", "empty", ""},
        {"braid", "trash", "restore", "", "a"},
    };
    for (const auto& words : cases) {
        const auto parsed = parse(static_cast<int>(words.size()), words.data());
        ASSERT_TRUE(std::holds_alternative<ExitStatus>(parsed));
        EXPECT_EQ(std::get<ExitStatus>(parsed), kUsage);
    }
}

TEST(CommandLine, AHomeThatIsLeftOutIsTheOneAround)
{
    const HomePair pair;
    write(pair.local() / "inside/a", "a");
    pair.sync();
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(pair.local() / "inside");
    const std::string local = std::filesystem::current_path().parent_path();
    const std::string network = pair.network();
    const auto resolution = [](std::vector<const char*> words) {
        words.insert(words.begin(), {"braid", "resolve", "--keep=both"});
        const auto parsed = parse(static_cast<int>(words.size()), words.data());
        return std::get<ResolveOptions>(std::get<Request>(parsed)).resolution;
    };
    EXPECT_EQ(resolution({"b"}).localHome, local);
    EXPECT_EQ(resolution({"b"}).paths, std::vector<std::string>{"b"});
    EXPECT_EQ(resolution({network.c_str(), "b"}).localHome, network);
    EXPECT_EQ(resolution({"..", "b"}).paths, std::vector<std::string>{"b"});
    const char* words[] = {"braid", "check"};
    const auto check = parse(2, words);
    EXPECT_EQ(std::get<CheckOptions>(std::get<Request>(check)).settings.networkHome, network);
    std::filesystem::current_path("/"); // in no home
    const char* forget[] = {"braid", "forget"};
    EXPECT_EQ(std::get<ExitStatus>(parse(2, forget)), kUsage);
    std::filesystem::current_path(before);
}

TEST(CommandLine, JsonStaysJsonAndATerminalIsLeftAloneWhateverTheNames)
{
    PassReport report;
    report.counts = {1, 2, 3, 4, 5};
    report.conflicts.push_back({"quote\" back\\slash\nline\x01", "modify/modify"});
    report.errors.push_back({"caf\xc3\xa9/\xff", "In words."});
    report.networkOps = {{"list", 2}, {"stat", 7}};
    report.jobStatus = {{"AnEnd", "Why."}};
    EXPECT_EQ(jsonReport(report, false),
              "{\"result\": 0, \"jobEnd\": \"AnEnd\", \"reason\": \"Why.\", "
              "\"created\": 1, \"updated\": 2, \"deleted\": 3, \"renamed\": 4, \"bytes\": 5, "
              "\"conflicts\": [{\"path\": \"quote\\\" back\\\\slash\\nline\\u0001\", \"kind\": \"modify/modify\"}], "
              "\"errors\": [{\"path\": \"caf\xc3\xa9/\\\\xFF\", \"message\": \"In words.\"}], \"skipped\": [], "
              "\"seconds\": 0.000000, "
              "\"localOps\": {}, \"networkOps\": {\"list\": 2, \"stat\": 7}}\n");
    const std::string plain = plainReport(report, false);
    EXPECT_NE(plain.find("quote\" back\\slash\\x0Aline\\x01"), std::string::npos) << plain;
    EXPECT_NE(plain.find("caf\xc3\xa9/\\xFF"), std::string::npos) << plain;
}

} // namespace
} // namespace braid::cli
