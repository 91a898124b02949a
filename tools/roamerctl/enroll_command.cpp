#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <sys/wait.h>
#include <unistd.h>

#include "account.h"
#include "colour.h"
#include "commands.h"
#include "directory/record_attributes.h"
#include "enrolment_traces.h"
#include "home/preference_keys.h"
#include "network_home.h"
#include "platform/linux/preference_store.h"
#include "platform/linux/property_list_codec.h"
#include "platform/linux/user_database.h"
#include "platform/linux/xml_date.h"
#include "platform/system_root.h"
#include "preference_value.h"
#include "session/login_password.h"
#include "session/secret.h"
#include "util/preference_domains.h"
#include "util/url_text.h"

namespace roamer::ctl
{

namespace
{

namespace fs = std::filesystem;

constexpr std::uint32_t kFirstPersonUid = 1000; ///< Accounts below are the system's.
constexpr std::array<std::string_view, 4> kSchemes = {"file://", "nfs://", "smb://", "sftp://"};

std::string recordPath(const std::string& name)
{
    return "/Library/Directory/Local/Users/" + name + ".plist";
}

/// As a record's home description takes URL and path, so that no character of theirs ends it early.
std::string percentEscaped(const std::string& text)
{
    constexpr std::string_view kPlain = "/._~:-";
    std::string escaped;
    for (const unsigned char c : text) {
        if (std::isalnum(c) != 0 || kPlain.find(static_cast<char>(c)) != std::string_view::npos) {
            escaped += static_cast<char>(c);
        } else {
            std::array<char, 4> code{};
            std::snprintf(code.data(), code.size(), "%%%02X", c);
            escaped += code.data();
        }
    }
    return escaped;
}

/// The record of a portable account: who it is comes from the user database, the rest is this.
Dictionary recordOf(const EnrollOptions& options, const std::string& home, const std::string& path)
{
    const auto location =
        "<home_dir><url>" + percentEscaped(options.url) + "</url><path>" + percentEscaped(path) + "</path></home_dir>";
    return {
        {kHomeAttribute, Array{home}},
        {kOriginalHomeLocAttribute, Array{location}},
        {kTimestampAttribute, Array{platform::xmlTextFromDate(std::chrono::system_clock::now())}},
        {kPreservedAttributesAttribute, Array{kLongNameAttribute}},
    };
}

/// Whether nobody has worked in the home: it is missing, or holds nothing but what every new home gets.
bool isNewHome(const std::string& home)
{
    std::error_code error;
    for (const auto& item : fs::directory_iterator(home, error)) {
        if (!fs::exists("/etc/skel" / item.path().filename())) return false;
    }
    return true;
}

std::optional<std::string> whyNot(const EnrollOptions& options, const platform::UserEntry& user)
{
    if (user.uid < kFirstPersonUid)
        return user.name + " is an account of the system; only people have portable accounts";
    const bool isKnown = std::ranges::any_of(kSchemes, [&](std::string_view scheme) {
        return options.url.starts_with(scheme) && options.url.size() > scheme.size();
    });
    if (!isKnown)
        return "the URL must begin with file://, nfs://, smb:// or sftp:// and name a share, as in "
               "sftp://files.example.org/homes";
    const fs::path path = options.path;
    if (path.is_absolute() || std::ranges::find(path, fs::path("..")) != path.end())
        return "the path must lead to a folder in the share, as in \"--path homes/jo\"";
    if (urlWithoutUserInfo(options.url) != options.url)
        return "the URL must not carry a user name or password: a login brings them";
    if (access(platform::systemPath(recordPath(user.name)).c_str(), F_OK) == 0)
        return user.name + " is enrolled already; \"roamerctl unenroll " + user.name + "\" comes first";
    return std::nullopt;
}

void explain(const EnrollOptions& options, const platform::UserEntry& user, const std::string& home,
             const std::string& path, bool isNew)
{
    std::printf("Account:       %s (uid %u)\nLocal home:    %s (%s)\nNetwork home:  %s, folder %s\n", user.name.c_str(),
                user.uid, home.c_str(), isNew ? "new" : "with files in it", options.url.c_str(), path.c_str());
    if (isNew) {
        std::printf("What happens:  the first login copies the network home to this computer.\n");
    } else if (options.check) {
        const char* truth = options.truth == FirstSyncOptions::Truth::Both
                                ? "where both have an item that differs, you are asked"
                            : options.truth == FirstSyncOptions::Truth::Local
                                ? "where both have an item that differs, the local one wins"
                                : "where both have an item that differs, the network's wins";
        std::printf("What happens:  both homes are brought in step now; %s.\n"
                    "               Nothing is deleted; what loses goes to the trash of its home.\n",
                    truth);
    } else {
        std::printf("What happens:  the next login compares both homes and asks which one holds the truth.\n");
    }
}

/// Runs this program's first-sync for the account with the password on its standard input; its exit status.
int runFirstSync(const EnrollOptions& options, const session::Secret& password, bool checkOnly)
{
    static constexpr std::array<const char*, 3> kTruthWords = {"both", "local", "network"};
    const auto input = session::pipeWith(password);
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        dup2(input.get(), STDIN_FILENO);
        std::vector<std::string> arguments = {"first-sync", "--user", options.user, "--truth",
                                              kTruthWords.at(static_cast<std::size_t>(options.truth))};
        if (checkOnly) arguments.emplace_back("--check-only");
        _exit(become("/proc/self/exe", arguments));
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status)) return kRefused;
    return WEXITSTATUS(status);
}

bool makeHome(const std::string& home, const platform::UserEntry& user)
{
    std::error_code error;
    if (fs::is_directory(home, error)) return true;
    if (!fs::create_directory(home, error) || chown(home.c_str(), user.uid, user.gid) != 0) return false;
    fs::permissions(home, fs::perms::owner_all, error);
    return !error;
}

/// In words what could not be written.
std::optional<std::string> writePreferences(const EnrollOptions& options, const std::string& name, bool isNew)
{
    auto opened = Account::open(name);
    if (const auto* reason = std::get_if<std::string>(&opened)) return *reason;
    auto& account = *std::get<std::unique_ptr<Account>>(opened);
    {
        const auto guard = account.effectiveUser->switchTo(account.record().uid());
        std::error_code error;
        fs::create_directories(fs::path(account.localHome()) / "Library/Preferences", error);
    }
    const std::pair<const char*, const std::vector<std::string>&> lists[] = {{kSyncedPrefFolders, options.settings},
                                                                             {kSyncedFolders, options.folders}};
    for (const auto& [key, words] : lists) {
        if (words.empty()) continue;
        auto value = preferenceValueFromWords(*findPreferenceKey(key), foldersInHome(words, account.localHome()));
        if (const auto* reason = std::get_if<std::string>(&value)) return std::string(key) + " " + *reason;
        if (!account.write(key, std::get<PropertyList>(value), false)) return "the preferences cannot be written";
    }
    // The file itself says that the account is to be synced.
    if (!account.write(kIsNewMobileAccount, PropertyList(isNew), false)) return "the preferences cannot be written";
    return std::nullopt;
}

} // namespace

ExitStatus run(const EnrollOptions& options)
{
    const auto found = platform::findUser(options.user);
    if (!found.entry) {
        return refuse("there is no user " + options.user + " on this computer. \"adduser " + options.user +
                      "\" makes one.");
    }
    const auto& user = *found.entry;
    if (const auto reason = whyNot(options, user)) return refuse(*reason + ".");
    const auto home = options.home.value_or(user.home);
    const auto path = options.path.empty() ? user.name : options.path;
    const bool isNew = isNewHome(home);
    explain(options, user, home, path, isNew);
    if (options.dryRun) return kDone;

    const auto codec = platform::makePropertyListCodec();
    const auto store = platform::makePreferenceStore(*codec);
    const PreferenceDomains domains(*store, *codec);
    const auto record = recordPath(user.name);
    const EnrolmentTraces traces(home, user.uid, user.gid);
    std::error_code error;
    fs::create_directories(fs::path(platform::systemPath(record)).parent_path(), error);
    if (!domains.writeToFile(recordOf(options, home, path), record, platform::PropertyListCodec::Format::Xml, true))
        return refuse("the account's record " + platform::systemPath(record) + " cannot be written. " +
                      (geteuid() != 0 ? "That takes root: try \"sudo roamerctl enroll\"." : "Is the disk full?"));
    // A record that leads nowhere would greet every login with an error, and what is left in a home would make the next
    // try take it for one that somebody works in.
    const auto takeBack = [&](const std::string& reason) {
        traces.remove();
        unlink(platform::systemPath(record).c_str());
        return refuse(reason + " " + user.name + " was not enrolled. Both homes keep what they have.");
    };
    session::Secret password;
    if (options.check) {
        if (needsPassword(options.url)) {
            const auto reason = password.readFrom(STDIN_FILENO, [] { return true; });
            if (reason) return takeBack("the password cannot be read: " + *reason + ".");
        }
        if (runFirstSync(options, password, true) != kDone) return takeBack("the network home cannot be used.");
    }
    if (!makeHome(home, user))
        return takeBack("the local home " + home + " cannot be made: " + std::strerror(errno) + ".");
    if (const auto reason = writePreferences(options, user.name, isNew)) return takeBack(*reason + ".");
    int status = kDone;
    if (options.check && !isNew) {
        status = runFirstSync(options, password, false);
        if (status != kDone && status != kNeedsAttention) return takeBack("the first sync did not come to its end.");
    }
    std::printf("%s\n", coloured(user.name + " is enrolled.", Colour::Good).c_str());
    return static_cast<ExitStatus>(status);
}

ExitStatus run(const UnenrollOptions& options)
{
    const auto record = platform::systemPath(recordPath(options.user));
    if (options.user.empty() || options.user.find('/') != std::string::npos || access(record.c_str(), F_OK) != 0)
        return refuse(options.user + " is not enrolled on this computer.");
    constexpr const char* kStays =
        "Both homes, the preferences and the trash stay as they are; they are no longer synced.";
    if (options.dryRun) {
        std::printf("%s\n", kStays);
        return kDone;
    }
    if (unlink(record.c_str()) != 0)
        return refuse("the account's record cannot be removed: " + std::string(std::strerror(errno)) + "." +
                      (geteuid() != 0 ? " That takes root." : ""));
    std::printf("%s is not enrolled any more. %s\n", options.user.c_str(), kStays);
    return kDone;
}

} // namespace roamer::ctl
