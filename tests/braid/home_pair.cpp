#include "home_pair.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <sstream>

namespace braid
{

namespace fs = std::filesystem;

namespace
{

/// Memory where there is some: the tests make thousands of small files.
fs::path scratchFolder()
{
    std::error_code error;
    if (::access("/dev/shm", W_OK) == 0) return "/dev/shm";
    return fs::temp_directory_path(error);
}

std::int64_t nanoseconds(const timespec& time)
{
    return time.tv_sec * 1'000'000'000LL + time.tv_nsec;
}

std::string attributesOf(const fs::path& item)
{
    std::array<char, 4096> names{};
    const ssize_t length = ::llistxattr(item.c_str(), names.data(), names.size());
    std::vector<std::string> pairs;
    for (ssize_t at = 0; at < length;) {
        const std::string name{names.data() + at};
        at += static_cast<ssize_t>(name.size()) + 1;
        if (!name.starts_with("user.")) continue;
        std::array<char, 4096> value{};
        const ssize_t size = ::lgetxattr(item.c_str(), name.c_str(), value.data(), value.size());
        pairs.push_back(name + "=" + std::string{value.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))});
    }
    std::ranges::sort(pairs);
    std::string all;
    for (const std::string& pair : pairs)
        all += " " + pair;
    return all;
}

/// Large contents by their hash alone, to keep messages readable.
std::string shortened(const std::string& content)
{
    if (content.size() < 1000) return content;
    return std::to_string(content.size()) + " bytes, hash " + std::to_string(std::hash<std::string>{}(content));
}

std::string describe(const fs::path& item, bool withFolderTimes)
{
    struct stat facts {
    };
    if (::lstat(item.c_str(), &facts) < 0) return "unreadable";
    std::ostringstream text;
    const std::string time = " mtime " + std::to_string(nanoseconds(facts.st_mtim));
    if (S_ISLNK(facts.st_mode)) {
        text << "link to " << fs::read_symlink(item).native() << time;
    } else if (S_ISDIR(facts.st_mode)) {
        text << "folder mode " << std::oct << (facts.st_mode & 07777) << attributesOf(item);
        if (withFolderTimes) text << time;
    } else {
        text << "file mode " << std::oct << (facts.st_mode & 07777) << time << attributesOf(item) << " content "
             << shortened(read(item));
    }
    return text.str();
}

template <class Visit>
void eachItem(const fs::path& folder, const std::string& prefix, bool withMarker, Visit visit)
{
    std::error_code error;
    for (const auto& item : fs::directory_iterator{folder, error}) {
        const std::string name = item.path().filename().native();
        if (!withMarker && name == ".Braid") continue;
        visit(item.path(), prefix + name);
        if (fs::is_directory(item.symlink_status())) eachItem(item.path(), prefix + name + "/", withMarker, visit);
    }
}

} // namespace

HomePair::HomePair()
{
    std::string name = (scratchFolder() / "braid-test-XXXXXX").native();
    if (!::mkdtemp(name.data())) throw std::runtime_error("no scratch folder");
    mTop = name;
    mLocal = mTop / "local";
    mNetwork = mTop / "network";
    fs::create_directory(mLocal);
    fs::create_directory(mNetwork);
}

HomePair::~HomePair()
{
    std::error_code ignored;
    fs::remove_all(mTop, ignored);
}

PassSettings HomePair::settings(std::vector<Job> jobs) const
{
    PassSettings settings;
    settings.localHome = mLocal;
    settings.networkHome = mNetwork;
    settings.jobs = std::move(jobs);
    if (settings.jobs.empty()) settings.jobs.push_back(wholeHome());
    return settings;
}

PassReport HomePair::sync(std::vector<Job> jobs) const
{
    return runPass(settings(std::move(jobs)), {});
}

PassReport HomePair::syncResolving(Peer favor) const
{
    JobOptions options;
    options.resolveConflictsInFavorOf = favor;
    return sync({wholeHome(options)});
}

void write(const fs::path& file, const std::string& content, bool now)
{
    fs::create_directories(file.parent_path());
    std::ofstream{file, std::ios::binary} << content;
    constexpr std::int64_t kLongAgo = 1'600'000'000'123'456'789;
    if (!now)
        setTime(file, kLongAgo + static_cast<std::int64_t>(std::hash<std::string>{}(content) % 1'000'000'000'000));
}

std::string read(const fs::path& file)
{
    std::ifstream in{file, std::ios::binary};
    if (!in) return "(unreadable)";
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

void makeLink(const fs::path& link, const std::string& target)
{
    fs::create_directories(link.parent_path());
    fs::create_symlink(target, link);
}

void setAttribute(const fs::path& file, const char* name, const std::string& value)
{
    ASSERT_EQ(::setxattr(file.c_str(), name, value.data(), value.size(), 0), 0);
}

void setTime(const fs::path& item, std::int64_t time)
{
    const std::array<timespec, 2> times{timespec{0, UTIME_OMIT}, timespec{time / 1'000'000'000, time % 1'000'000'000}};
    ASSERT_EQ(::utimensat(AT_FDCWD, item.c_str(), times.data(), AT_SYMLINK_NOFOLLOW), 0);
}

Tree treeOf(const fs::path& home, bool withFolderTimes)
{
    Tree tree;
    eachItem(home, "", false,
             [&](const fs::path& item, const std::string& path) { tree[path] = describe(item, withFolderTimes); });
    return tree;
}

std::string differences(const Tree& one, const Tree& other)
{
    std::string text;
    for (const auto& [path, item] : one) {
        const auto found = other.find(path);
        if (found != other.end() && found->second == item) continue;
        text += path + ": " + item + " | " + (found == other.end() ? "missing" : found->second) + "\n";
    }
    for (const auto& [path, item] : other) {
        if (!one.contains(path)) text += path + ": missing | " + item + "\n";
    }
    return text;
}

std::vector<std::string> trashContents(const fs::path& home)
{
    std::vector<std::string> contents;
    eachItem(home / ".Braid" / "trash", "", true, [&](const fs::path& item, const std::string&) {
        if (fs::is_regular_file(item)) contents.push_back(read(item));
    });
    std::ranges::sort(contents);
    return contents;
}

Tree footprintOf(const fs::path& folder)
{
    Tree tree;
    const auto add = [&](const fs::path& item, const std::string& path) {
        struct stat facts {
        };
        ::lstat(item.c_str(), &facts);
        std::ostringstream text;
        text << facts.st_ino << ' ' << facts.st_mode << ' ' << facts.st_size << ' ' << nanoseconds(facts.st_mtim) << ' '
             << nanoseconds(facts.st_ctim);
        tree[path] = text.str();
    };
    add(folder, "");
    eachItem(folder, "", true, add);
    return tree;
}

std::uint64_t writesOf(const PassReport& report)
{
    const Counts& counts = report.counts;
    return counts.created + counts.updated + counts.deleted + counts.renamed + counts.bytes;
}

bool survives(const std::function<void()>& work)
{
    const pid_t child = ::fork();
    if (child == 0) {
        work();
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) || (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL)) << "status " << status;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

Job wholeHome(JobOptions options)
{
    Job job;
    job.options = options;
    return job;
}

JobOptions copyFrom(Peer peer)
{
    JobOptions options;
    options.resolveConflictsInFavorOf = options.readOnlyPeer = peer;
    return options;
}

JobOptions copyOrEnd(Peer peer)
{
    JobOptions options;
    options.readOnlyPeer = options.abortOnWriteToReadOnlyPeer = peer;
    options.abortOnConflict = options.suppressConflictDialogs = true;
    return options;
}

} // namespace braid
