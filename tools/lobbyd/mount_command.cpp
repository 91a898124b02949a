#include "mount_command.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <string_view>

#include <unistd.h>

namespace lobby
{

namespace
{

using platform::ServerShare;

// Nobody's set-uid programs and devices count on a share; a server that is gone gives errors in the end: a request that
// waits for ever would hold a login up.
constexpr const char* kNfsOptions = "nosuid,nodev,softerr,timeo=150,retrans=2,retry=0";
// Symbolic links as files that every client of this kind reads as links. Names as we write them, whatever character set
// the kernel was built with: another one leads to another folder.
constexpr const char* kCifsOptions =
    "nosuid,nodev,soft,mfsymlinks,iocharset=utf8,file_mode=0600,dir_mode=0700,forceuid,forcegid";
// A lost connection is taken up again, so that the mount stays and gives errors meanwhile: a mount point that turned
// into an empty folder would look like a home without files. A file keeps its number over a rename but not over a link,
// and the engine tells by the number whether it has moved the file that it saw. Only a server whose key is known gets a
// password.
constexpr const char* kSshfsOptions = "nosuid,nodev,reconnect,idmap=user,disable_hardlink,StrictHostKeyChecking=yes,"
                                      "ConnectTimeout=10,ServerAliveInterval=15,"
                                      "ServerAliveCountMax=3,NumberOfPasswordPrompts=1";
constexpr const char* kSystemSshConfiguration = "/etc/ssh/ssh_config";

using Build = void (*)(const ServerShare&, const Account&, const Credentials&, const MountPlaces&, ChildJob&);

// As on every other share, a person's links lead anywhere; the engine follows none.
constexpr const char* kAnyLinkOption = "no_contain_symlinks";

/// Versions that are too old to withhold such links refuse the option that has them shown.
bool knowsOption(const std::string& program, std::string_view option)
{
    std::ifstream file{program, std::ios::binary};
    const std::string text{std::istreambuf_iterator<char>{file}, {}};
    return text.find(option) != std::string::npos;
}

std::string portOption(const ServerShare& share, const char* name)
{
    return share.port != 0 ? "," + std::string(name) + "=" + std::to_string(share.port) : std::string();
}

void buildNfs(const ServerShare& share, const Account& /*account*/, const Credentials& credentials,
              const MountPlaces& places, ChildJob& job)
{
    const std::string security = credentials.ticketCache ? ",sec=krb5" : "";
    job.arguments = {share.bracketedHost() + ":" + share.path, places.mountPoint, "-o",
                     kNfsOptions + security + portOption(share, "port")};
}

void buildCifs(const ServerShare& share, const Account& account, const Credentials& credentials,
               const MountPlaces& places, ChildJob& job)
{
    const auto uid = std::to_string(account.identity.uid);
    std::string options = kCifsOptions + (",uid=" + uid) + ",gid=" + std::to_string(account.identity.gid) +
                          portOption(share, "port") + ",user=" + credentials.user;
    if (!share.domain.empty()) options += ",domain=" + share.domain;
    if (credentials.ticketCache) options += ",sec=krb5,cruid=" + uid;
    if (credentials.hasPassword) job.route = PasswordRoute::Descriptor;
    job.arguments = {"//" + share.bracketedHost() + share.path, places.mountPoint, "-o", options};
}

void buildSshfs(const ServerShare& share, const Account& /*account*/, const Credentials& credentials,
                const MountPlaces& places, ChildJob& job)
{
    // The person's own configuration could send the password elsewhere.
    const bool isConfigured = ::access(kSystemSshConfiguration, R_OK) == 0;
    std::string options = std::string(kSshfsOptions) + ",ssh_command=ssh -F " +
                          (isConfigured ? kSystemSshConfiguration : "none") +
                          (places.logFile.empty() ? "" : " -E " + places.logFile) + portOption(share, "port");
    if (knowsOption(job.program, kAnyLinkOption)) options += std::string(",") + kAnyLinkOption;
    if (!places.knownHosts.empty()) {
        options += ",GlobalKnownHostsFile=/etc/ssh/ssh_known_hosts " + places.knownHosts;
    }
    if (credentials.hasPassword) {
        // The person's keys may have pass phrases, for which nobody could be asked.
        options += ",password_stdin,PubkeyAuthentication=no";
        job.route = PasswordRoute::StandardInput;
    } else {
        options += ",BatchMode=yes,GSSAPIAuthentication=yes";
    }
    job.arguments = {credentials.user + "@" + share.bracketedHost() + ":" + share.path, places.mountPoint, "-o",
                     options};
}

struct ClientFacts {
    std::string_view scheme;
    std::string_view folder;
    std::string_view program;
    bool runsAsUser;
    Build build;
};

constexpr std::array kClients = std::to_array<ClientFacts>({
    {"nfs", "/sbin", "mount.nfs", false, buildNfs},
    {"smb", "/sbin", "mount.cifs", false, buildCifs},
    {"sftp", "/usr/bin", "sshfs", true, buildSshfs},
});

const ClientFacts& clientFor(const ServerShare& share)
{
    return *std::ranges::find(kClients, std::string_view(share.scheme), &ClientFacts::scheme);
}

struct FailureFacts {
    std::string_view text; ///< As a client writes it.
    std::int32_t code;
    const char* words;
};

constexpr const char* kUnknownHost = "unknown host";
constexpr const char* kUnknownKey = "the server's host key is not known on this computer, or another than before";
constexpr const char* kWrongPassword = "wrong name or password, or the server refuses access";
constexpr const char* kNoShare = "the server has no such share";
constexpr const char* kNoAnswer = "the server does not answer";
constexpr const char* kNoWay = "there is no way to the server";
constexpr const char* kNotServed = "the server does not serve this kind of share";
constexpr const char* kNoClient = "this computer has no working client for this kind of share";

// The first that is found counts.
constexpr std::array kFailures = std::to_array<FailureFacts>({
    {"Could not resolve hostname", EHOSTUNREACH, kUnknownHost},
    {"could not resolve address", EHOSTUNREACH, kUnknownHost},
    {"Failed to resolve server", EHOSTUNREACH, kUnknownHost},
    {"failed to open /dev/fuse", EOPNOTSUPP, kNoClient},
    {"fusermount3:", EOPNOTSUPP, kNoClient},
    {"Host key verification failed", EKEYREJECTED, kUnknownKey},
    {"Permission denied", EACCES, kWrongPassword},
    {"access denied by server", EACCES, kWrongPassword},
    {"Too many authentication failures", EACCES, kWrongPassword},
    {"Required key not available", EACCES, kWrongPassword},
    {"Key has expired", EACCES, kWrongPassword},
    {"Key was rejected", EACCES, kWrongPassword},
    {"security flavor not supported", EACCES, kWrongPassword},
    {"incorrect mount option", EACCES, kWrongPassword}, // mount.nfs: Kerberos where the server has none
    {"No such device or address", ENOENT, kNoShare},
    {"No such file or directory", ENOENT, kNoShare},
    {"Not a directory", ENOENT, kNoShare},
    {"Connection refused", ECONNREFUSED, kNotServed},
    {"timed out", ETIMEDOUT, kNoAnswer},
    {"Host is down", ETIMEDOUT, kNoAnswer},
    {"Operation now in progress", ETIMEDOUT, kNoAnswer},
    {"No route to host", EHOSTUNREACH, kNoWay},
    {"Network is unreachable", EHOSTUNREACH, kNoWay},
    {"not supported by the system", EOPNOTSUPP, kNoClient},
    {"No such device", EOPNOTSUPP, kNoClient},
    {"device not found", EOPNOTSUPP, kNoClient},
});

} // namespace

ChildJob mountCommand(const ServerShare& share, const Account& account, const Credentials& credentials,
                      const MountPlaces& places, const ClientFolder& clients)
{
    const auto& facts = clientFor(share);
    ChildJob job;
    job.program = (clients.empty() ? std::string(facts.folder) : clients) + "/" + std::string(facts.program);
    job.environment = {"PATH=/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL=C", "HOME=" + account.home, "USER=" + account.name,
                       "LOGNAME=" + account.name};
    if (credentials.ticketCache) job.environment.push_back("KRB5CCNAME=FILE:" + *credentials.ticketCache);
    if (facts.runsAsUser) job.identity = account.identity;
    job.password = credentials.password;
    facts.build(share, account, credentials, places, job);
    return job;
}

bool runsAsUser(const ServerShare& share)
{
    return clientFor(share).runsAsUser;
}

MountFailure failureOf(const ChildEnd& end, const std::string& program)
{
    if (::access(program.c_str(), X_OK) != 0) {
        return {EOPNOTSUPP, std::string(kNoClient) + ": " + program + " is not installed"};
    }
    for (const auto& failure : kFailures) {
        if (end.output.find(failure.text) != std::string::npos) return {failure.code, failure.words};
    }
    return {EIO, "the mount client failed with status " + std::to_string(end.status)};
}

} // namespace lobby
