#include "inotify_watcher.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include "braid/jobs/coverage.h"
#include "util/debug_log.h"
#include "util/path_text.h"

namespace braid::agent
{

namespace
{

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr auto kShortestTellGap = 250ms;
// More paths than this are told of as "much": looking at each would cost more than a pass.
constexpr std::size_t kMostPaths = 2000;
// A file counts once it is complete: a modification per write would be a flood for a growing one.
constexpr std::uint32_t kEvents = IN_CLOSE_WRITE | IN_ATTRIB | IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;

/// What the engine and its locks write into a home themselves.
bool isEnginesOwn(std::string_view name)
{
    return name == ".Braid" || name == ".vexlc" || name.starts_with(".fstemp");
}

struct FolderCloser {
    void operator()(DIR* folder) const { ::closedir(folder); }
};
using Folder = std::unique_ptr<DIR, FolderCloser>;

class Watch
{
public:
    Watch(std::string home, const std::vector<Job>& jobs, std::stop_token stop)
        : mHome(std::move(home)), mCoverage(jobs), mStop(std::move(stop)),
          mInotify(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK))
    {
        if (mInotify < 0) giveUp("inotify_init1");
    }
    ~Watch()
    {
        if (mInotify >= 0) ::close(mInotify);
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    /// False when not all of the home could be watched; then there is nothing to wait for.
    bool isWhole() const { return mInotify >= 0 && mWhyNot.empty(); }
    const std::string& whyNot() const { return mWhyNot; }
    int descriptor() const { return mInotify; }

    void addHome() { addTree({"", mCoverage.top()}); }

    /// Takes what has happened; whether there is something to tell of.
    bool takeEvents()
    {
        alignas(inotify_event) std::array<char, 65536> buffer;
        while (!mStop.stop_requested()) {
            const ssize_t count = ::read(mInotify, buffer.data(), buffer.size());
            if (count <= 0) break;
            for (const char* at = buffer.data(); at < buffer.data() + count;) {
                const auto* event = reinterpret_cast<const inotify_event*>(at);
                takeEvent(*event);
                at += sizeof(inotify_event) + event->len;
            }
        }
        return mChanges.isMore || !mChanges.paths.empty();
    }

    HomeChanges takeChanges() { return std::exchange(mChanges, {}); }

private:
    struct Watched {
        std::string path; ///< Home-relative, "" for the home.
        Coverage::State state;

        std::string pathOf(std::string_view name) const
        {
            return path.empty() ? std::string(name) : path + "/" + std::string(name);
        }
        bool isWithin(const std::string& top) const { return path == top || path.starts_with(top + "/"); }
    };

    std::string absolute(const Watched& folder) const { return roamer::pathByAppending(mHome, folder.path); }

    /// Watches the folder and what lies below it.
    void addTree(Watched top)
    {
        std::vector<Watched> waiting{std::move(top)};
        while (!waiting.empty() && !mStop.stop_requested() && mWhyNot.empty()) {
            const Watched folder = std::move(waiting.back());
            waiting.pop_back();
            if (addFolder(folder)) listFolders(folder, waiting);
        }
    }

    bool addFolder(const Watched& folder)
    {
        if (mFolders.size() >= InotifyWatcher::kMaxWatches) {
            errno = ENOSPC;
            giveUp("limit");
            return false;
        }
        const int watch =
            ::inotify_add_watch(mInotify, absolute(folder).c_str(), kEvents | IN_ONLYDIR | IN_DONT_FOLLOW);
        if (watch < 0) {
            if (errno == ENOSPC || errno == ENOMEM) giveUp("inotify_add_watch");
            return false;
        }
        mFolders.insert_or_assign(watch, folder);
        return true;
    }

    void listFolders(const Watched& folder, std::vector<Watched>& result) const
    {
        const int descriptor = ::open(absolute(folder).c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (descriptor < 0) return;
        const Folder listing(::fdopendir(descriptor));
        if (!listing) {
            ::close(descriptor);
            return;
        }
        while (const dirent* entry = ::readdir(listing.get())) {
            const std::string_view name = entry->d_name;
            // An unknown type is tried: the watch refuses what is not a folder.
            if (entry->d_type != DT_DIR && entry->d_type != DT_UNKNOWN) continue;
            if (name == "." || name == ".." || isEnginesOwn(name)) continue;
            auto path = folder.pathOf(name);
            auto state = mCoverage.below(folder.state, path);
            if (Coverage::leadsSomewhere(state)) result.push_back({std::move(path), std::move(state)});
        }
    }

    void takeEvent(const inotify_event& event)
    {
        if ((event.mask & IN_Q_OVERFLOW) != 0) {
            mChanges = {{}, true};
            return;
        }
        const auto found = mFolders.find(event.wd);
        if (found == mFolders.end()) return;
        if ((event.mask & IN_IGNORED) != 0) {
            mFolders.erase(found);
            return;
        }
        const Watched folder = found->second;
        const std::string_view name = event.len > 0 ? event.name : "";
        if (name.empty() || isEnginesOwn(name)) return;
        const std::string path = folder.pathOf(name);
        if ((event.mask & IN_ISDIR) != 0) takeFolderEvent(event.mask, {path, mCoverage.below(folder.state, path)});
        if (mCoverage.jobOfItem(folder.state, path)) note(path);
    }

    void note(const std::string& path)
    {
        if (mChanges.isMore) return;
        mChanges.paths.insert(path);
        if (mChanges.paths.size() > kMostPaths) mChanges = {{}, true};
    }

    void takeFolderEvent(std::uint32_t mask, const Watched& folder)
    {
        if (!Coverage::leadsSomewhere(folder.state)) return;
        // A folder that moved away keeps its watches, under a path that is no longer its own.
        if ((mask & IN_MOVED_FROM) != 0) dropTree(folder.path);
        if ((mask & (IN_CREATE | IN_MOVED_TO)) != 0) addTree(folder);
    }

    void dropTree(const std::string& top)
    {
        for (const auto& [watch, folder] : mFolders) {
            if (folder.isWithin(top)) ::inotify_rm_watch(mInotify, watch);
        }
        std::erase_if(mFolders, [&](const auto& item) { return item.second.isWithin(top); });
    }

    void giveUp(const char* call) { mWhyNot = std::string(call) + ": " + std::generic_category().message(errno); }

    std::string mHome;
    Coverage mCoverage;
    std::stop_token mStop;
    int mInotify;
    std::string mWhyNot;
    std::map<int, Watched> mFolders;
    HomeChanges mChanges;
};

/// Waits for events and tells of them until asked to stop, or the kernel refuses to watch more.
void watchLoop(Watch& watch, int wake, const std::stop_token& stop, const std::function<void(HomeChanges)>& tell)
{
    bool pending = false;
    auto nextTell = Clock::now();
    while (!stop.stop_requested() && watch.isWhole()) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(nextTell - Clock::now());
        const int wait = pending ? static_cast<int>(std::max(left, 0ms).count()) : -1;
        std::array<pollfd, 2> sources{{{watch.descriptor(), POLLIN, 0}, {wake, POLLIN, 0}}};
        if (::poll(sources.data(), sources.size(), wait) < 0 && errno != EINTR) return;
        pending = watch.takeEvents() || pending;
        if (!pending || Clock::now() < nextTell) continue;
        tell(watch.takeChanges());
        pending = false;
        nextTell = Clock::now() + kShortestTellGap;
    }
}

} // namespace

InotifyWatcher::InotifyWatcher(std::filesystem::path home, PostToMain post)
    : mHome(std::move(home)), mPost(std::move(post)), mWake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
}

InotifyWatcher::~InotifyWatcher()
{
    stop();
    if (mWake >= 0) ::close(mWake);
}

void InotifyWatcher::watch(std::vector<Job> jobs, std::function<void(const HomeChanges&)> changed)
{
    stop();
    if (mWake < 0) return;
    mThread = std::jthread([this, jobs = std::move(jobs), changed = std::move(changed)](const std::stop_token& stop) {
        Watch watch(mHome.string(), jobs, stop);
        if (watch.descriptor() >= 0) watch.addHome();
        watchLoop(watch, mWake, stop, [this, &changed](HomeChanges changes) {
            mPost([changed, changes = std::move(changes)] { changed(changes); });
        });
        // Gone with `watch`: watches that see a part of the home only would starve other programs of theirs.
        if (!stop.stop_requested() && !std::exchange(mHasSaidSo, true)) {
            roamer::DebugLog(
                0, "watch: the home is too large to be watched reason=\"%s\"; changes are synced by the clock only",
                watch.whyNot().c_str());
        }
    });
}

void InotifyWatcher::stop()
{
    if (!mThread.joinable()) return;
    mThread.request_stop();
    ::eventfd_write(mWake, 1);
    mThread.join();
    eventfd_t drained = 0;
    ::eventfd_read(mWake, &drained);
}

} // namespace braid::agent
