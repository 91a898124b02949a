#include "far_worker.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <fcntl.h>
#include <functional>
#include <map>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "effective_user.h"
#include "far_protocol.h"
#include "file_manager.h"
#include "file_system.h"
#include "preference_store.h"
#include "property_list_codec.h"

namespace platform
{

namespace
{

using far::textOf;
using far::valueOf;
using roamer::Data;
using roamer::Dictionary;

constexpr std::int64_t kMostBytesRead = std::int64_t{1} << 20;
constexpr int kFirstFreeDescriptor = 10;

Dictionary flag(bool value)
{
    return {{far::kFlag, value}};
}

Dictionary error(int code)
{
    return {{far::kError, code}};
}

Dictionary bytes(std::optional<Data> data)
{
    return data ? Dictionary{{far::kBytes, std::move(*data)}} : Dictionary{};
}

/// The services that do the work, and which of them answers which call.
class Worker
{
public:
    Dictionary answer(const Dictionary& question)
    {
        const auto call = mCalls.find(valueOf<std::string>(question, far::kCall));
        return call != mCalls.end() ? call->second(question) : Dictionary{};
    }

    PropertyListCodec& codec() { return *mCodec; }

private:
    using Call = std::function<Dictionary(const Dictionary&)>;

    static std::string path(const Dictionary& question) { return textOf(question, far::kPath); }
    static std::string name(const Dictionary& question) { return textOf(question, far::kName); }
    static FileManager::RefNum refNum(const Dictionary& question)
    {
        return static_cast<FileManager::RefNum>(valueOf<std::int64_t>(question, far::kRefNum));
    }
    static std::uint64_t offset(const Dictionary& question)
    {
        return static_cast<std::uint64_t>(valueOf<std::int64_t>(question, far::kOffset));
    }

    Dictionary contentsOfDirectory(const Dictionary& question)
    {
        const auto names = mFiles->contentsOfDirectory(path(question));
        if (!names) return {};
        roamer::Array list;
        for (const auto& each : *names)
            list.emplace_back(far::dataOf(each));
        return {{far::kNames, std::move(list)}};
    }
    Dictionary readFolderIdentity(const Dictionary& question)
    {
        FileManager::FolderIdentity identity;
        auto result = error(mManager->readFolderIdentity(path(question), identity));
        result[far::kVolume] = static_cast<std::int64_t>(identity.volume);
        result[far::kFolder] = static_cast<std::int64_t>(identity.folder);
        return result;
    }
    Dictionary openFile(const Dictionary& question)
    {
        using Access = FileManager::Access;
        const auto access = valueOf<bool>(question, far::kFlag) ? Access::ReadWriteDenyWrite : Access::ReadWrite;
        const auto opened = mManager->openFile(path(question), name(question), access);
        return {{far::kError, opened.error}, {far::kRefNum, opened.refNum}};
    }
    Dictionary readFile(const Dictionary& question)
    {
        Data buffer(static_cast<std::size_t>(
            std::clamp(valueOf<std::int64_t>(question, far::kCount), std::int64_t{0}, kMostBytesRead)));
        const auto got = mManager->readFile(refNum(question), offset(question), buffer);
        buffer.resize(got.bytes);
        return {{far::kError, got.error}, {far::kBytes, std::move(buffer)}};
    }

    using D = const Dictionary&;
    std::unique_ptr<PropertyListCodec> mCodec = makePropertyListCodec();
    std::unique_ptr<FileSystem> mFiles = makeFileSystem();
    std::unique_ptr<PreferenceStore> mStore = makePreferenceStore(*mCodec);
    std::unique_ptr<FileManager> mManager = makeFileManager();
    const std::map<std::string, Call> mCalls = {
        {far::kExists, [this](D q) { return flag(mFiles->exists(path(q))); }},
        {far::kIsDirectory, [this](D q) { return flag(mFiles->isDirectory(path(q))); }},
        {far::kContentsOfDirectory, [this](D q) { return contentsOfDirectory(q); }},
        {far::kDirectoryIsReadable, [this](D q) { return flag(mFiles->directoryIsReadable(path(q))); }},
        {far::kCreateDirectory, [this](D q) { return flag(mFiles->createDirectory(path(q))); }},
        {far::kIsPackage, [this](D q) { return flag(mFiles->isPackage(path(q))); }},
        {far::kReach, [this](D q) { return flag(mFiles->reach(path(q))); }},

        {far::kReadWholeFile, [this](D q) { return bytes(mStore->readFile(path(q))); }},
        {far::kWriteWholeFile,
         [this](D q) {
             return flag(mStore->writeFile(path(q), valueOf<Data>(q, far::kBytes), valueOf<bool>(q, far::kFlag)));
         }},
        {far::kReadFileInHome, [this](D q) { return bytes(mStore->readFileInHome(path(q), name(q))); }},
        {far::kWriteFileInHome,
         [this](D q) { return flag(mStore->writeFileInHome(path(q), name(q), valueOf<Data>(q, far::kBytes))); }},
        {far::kWriteDomain,
         [this](D q) { return flag(mStore->writeDomain(valueOf<Dictionary>(q, far::kDictionary), path(q), name(q))); }},

        {far::kReadFolderIdentity, [this](D q) { return readFolderIdentity(q); }},
        {far::kCreateFile, [this](D q) { return error(mManager->createFile(path(q), name(q))); }},
        {far::kHideFile, [this](D q) { return error(mManager->hideFile(path(q), name(q))); }},
        {far::kOpenFile, [this](D q) { return openFile(q); }},
        {far::kReadFile, [this](D q) { return readFile(q); }},
        {far::kWriteFile,
         [this](D q) { return error(mManager->writeFile(refNum(q), offset(q), valueOf<Data>(q, far::kBytes))); }},
        {far::kSetFileLength, [this](D q) { return error(mManager->setFileLength(refNum(q), offset(q))); }},
        {far::kFlushFile, [this](D q) { return error(mManager->flushFile(refNum(q))); }},
        {far::kCloseFile, [this](D q) { return error(mManager->closeFile(refNum(q))); }},
        {far::kDeleteFile, [this](D q) { return error(mManager->deleteFile(path(q), name(q))); }},
    };
};

/// Ends with its parent even when it waits for a file system and sees nothing of the socket. The kernel forgets this at
/// every change of the effective user.
void dieWithParent()
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
}

/// The parent cleans up after such a signal, and its worker has to help it; then the socket ends.
void ignoreRequestsToEnd()
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE})
        std::signal(signal, SIG_IGN);
    sigset_t all;
    sigemptyset(&all);
    sigprocmask(SIG_SETMASK, &all, nullptr);
}

/// Everything that the child needs, made before the fork: afterwards only system calls are allowed.
struct NewWorker {
    int program = -1;
    int socket = -1;
    int nothing = -1;
    pid_t parent = 0;

    [[noreturn]] void become() const
    {
        // Not the C library's calls, which would look for the threads of the parent.
        syscall(SYS_setresuid, -1, 0, -1); // fails where the real user is none to change groups, which then fit
        syscall(SYS_setresgid, getgid(), getgid(), getgid());
        syscall(SYS_setresuid, getuid(), getuid(), getuid());
        dieWithParent();
        const bool isReady = getppid() == parent && dup2(socket, STDIN_FILENO) >= 0 &&
                             dup2(nothing, STDOUT_FILENO) >= 0 && dup2(nothing, STDERR_FILENO) >= 0;
        constexpr int kProgram = STDERR_FILENO + 1;
        if (isReady && dup2(program, kProgram) >= 0) {
            syscall(SYS_close_range, kProgram + 1, ~0U, 0);
            fcntl(kProgram, F_SETFD, FD_CLOEXEC);
            const char* const arguments[] = {"roamer", far::kWorkerArgument, nullptr};
            execveat(kProgram, "", const_cast<char* const*>(arguments), environ, AT_EMPTY_PATH);
        }
        _exit(127);
    }
};

/// The descriptor again, out of the way of the numbers that `become` fills.
UniqueFd raised(const UniqueFd& low)
{
    return UniqueFd(fcntl(low.get(), F_DUPFD_CLOEXEC, kFirstFreeDescriptor));
}

} // namespace

int runFarWorker(UniqueFd socket)
{
    ignoreRequestsToEnd();
    dieWithParent();
    const auto user = makeEffectiveUser();
    Worker worker;
    Dictionary question;
    while (far::receiveFrame(socket, worker.codec(), question, std::nullopt) == far::Ending::Done) {
        const auto uid = static_cast<uid_t>(valueOf<std::int64_t>(question, far::kUser));
        const auto acting = user->switchTo(uid);
        dieWithParent();
        // Never more powerful than who asks; an empty answer reads as a failure.
        const Dictionary answer = geteuid() == uid ? worker.answer(question) : Dictionary{};
        if (far::sendFrame(socket, worker.codec(), answer, std::nullopt) != far::Ending::Done) break;
    }
    return 0;
}

int runFarWorker()
{
    prctl(PR_SET_NAME, "roamer-far");   // what lists of processes show
    static_cast<void>(chdir("/") == 0); // no folder stays busy because of a worker
    return runFarWorker(UniqueFd(STDIN_FILENO));
}

FarLink::Started startFarWorker()
{
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) return {};
    UniqueFd ours(ends[0]);
    const UniqueFd theirs = raised(UniqueFd(ends[1]));
    // The file that runs, whatever lies at its path by now.
    const UniqueFd program = raised(UniqueFd(open("/proc/self/exe", O_PATH | O_CLOEXEC)));
    const UniqueFd nothing = raised(UniqueFd(open("/dev/null", O_RDWR | O_CLOEXEC)));
    if (!theirs.isOpen() || !program.isOpen() || !nothing.isOpen()) return {};
    const NewWorker worker{program.get(), theirs.get(), nothing.get(), getpid()};
    const pid_t pid = fork();
    if (pid == 0) worker.become();
    return {pid, std::move(ours)};
}

} // namespace platform
