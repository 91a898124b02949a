#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "braid/disk/system.h"
#include "sim_disk.h"

namespace braid::sim
{

/// What goes wrong during one pass, by the number of the call from the pass's start on (from 1).
struct Mishap {
    enum class Kind {
        None,
        Killed,       ///< The process ends before the call; the disks keep all that was done.
        PowerCut,     ///< The same for the computer.
        ServerCut,    ///< For the server's disk, and with it for the pass.
        Fails,        ///< The call fails, and nothing else.
        AnswerIsLost, ///< The call fails although it was carried out.
        Meanwhile,    ///< Somebody does something before the call.
    };
    Kind kind = Kind::None;
    long call = 0;
    int code = 0; ///< errno of the call that fails.
    std::function<void()> meanwhile;
};

/// An operating system for the engine whose disks are kept in memory, "/sim/<name>" each, and whose clock is set by
/// hand. Stands in for the kernel, and for SQLite's files too, as long as it lives; one at a time.
class SimSystem final : public disk::System
{
public:
    explicit SimSystem(std::uint64_t seed);
    ~SimSystem() override;

    Disk& add(const std::string& name, const DiskTraits& traits);
    void advance(std::int64_t nanoseconds) { mClock += nanoseconds; }

    /// From now on calls are counted, and the mishap waits; `server` is the disk that ServerCut is about.
    void start(Mishap mishap, Disk& server);
    const std::string& mishapCall() const { return mMishapCall; } ///< What it hit, for the message.
    /// After a pass: a dead computer starts again.
    void restart();
    /// Everything on the disks is there to stay.
    void flushAll();
    /// While it lives calls are a person's: neither counted nor hit.
    class Person
    {
    public:
        explicit Person(SimSystem& system) : mSystem(system) { ++mSystem.mPersons; }
        ~Person() { --mSystem.mPersons; }
        Person(const Person&) = delete;
        Person& operator=(const Person&) = delete;

    private:
        SimSystem& mSystem;
    };
    /// While a pass runs the persons around it wait.
    int leaveToEngine() { return std::exchange(mPersons, 0); }
    void settlePersons(int persons) { mPersons = persons; }

    int open(const char* path, int flags) override;
    int openBeneath(int folder, const char* path, int flags) override;
    int openat(int folder, const char* name, int flags, mode_t mode) override;
    int createUnnamed(int folder, mode_t mode) override;
    int close(int descriptor) override;
    int statx(int folder, const char* name, int flags, struct statx* facts) override;
    int fstatfs(int descriptor, struct statfs* facts) override;
    int mayWrite(int folder) override;
    int listNames(int folder, std::vector<std::string>& names) override;
    ssize_t read(int file, void* bytes, std::size_t length) override;
    ssize_t write(int file, const void* bytes, std::size_t length) override;
    off_t lseek(int file, off_t offset, int whence) override;
    ssize_t copy_file_range(int source, off_t* from, int target, off_t* to, std::size_t length) override;
    int clone(int target, int source) override;
    int fallocate(int file, int mode, off_t offset, off_t length) override;
    int ftruncate(int file, off_t size) override;
    int mkdirat(int folder, const char* name, mode_t mode) override;
    int symlinkat(const char* target, int folder, const char* name) override;
    ssize_t readlinkat(int folder, const char* name, char* target, std::size_t size) override;
    int linkat(int folder, const char* name, int newFolder, const char* newName) override;
    int linkUnnamed(int file, int newFolder, const char* newName) override;
    int unlinkat(int folder, const char* name, int flags) override;
    int renameat2(int folder, const char* name, int newFolder, const char* newName, unsigned flags) override;
    int fchmod(int item, mode_t mode) override;
    ssize_t flistxattr(int item, char* names, std::size_t size) override;
    ssize_t fgetxattr(int item, const char* name, void* value, std::size_t size) override;
    int fsetxattr(int item, const char* name, const void* value, std::size_t size) override;
    int fremovexattr(int item, const char* name) override;
    int utimensat(int folder, const char* name, const std::array<timespec, 2>& times) override;
    int fchownat(int folder, const char* name, uid_t owner, gid_t group) override;
    int syncfs(int descriptor) override;
    int fsync(int descriptor) override;
    int lock(int file, int command, struct flock* range) override;
    std::int64_t now() override { return mClock; }
    void randomBytes(void* bytes, std::size_t length) override;
    void wait(std::int64_t nanoseconds) override { advance(nanoseconds); }
    bool isConcurrent() const override { return false; }

private:
    struct Place {
        Disk* disk = nullptr;
        std::uint64_t inode = 0;
    };
    struct Open : Place {
        std::uint64_t offset = 0;
    };
    using Answer = std::int64_t; ///< At least 0, or a negative errno value.

    /// Runs one call under the lock, unless the mishap is quicker.
    template <class Work>
    Answer call(const char* what, int descriptor, const char* name, Work work);
    int enter(const char* what, const char* name, const Disk* disk);
    /// The engine has its owner's rights; persons have all.
    bool isDenied(const Node& node, mode_t right) const;
    Open& at(int descriptor) { return mOpen.at(descriptor); }
    Answer hold(Place place);
    /// The item that a path of several names leads to, or a problem; links are not followed.
    Answer walk(Place& place, const std::string& path, bool checksDots);
    Answer find(const Open& folder, const char* name, Place& place);
    Answer mayChange(const Open& folder, const char* name);
    Answer makeEntry(int folder, const char* name, mode_t mode, const std::string& data);
    Answer rename(const Open& from, const char* name, const Open& to, const char* newName, unsigned flags);
    /// Changes the facts of an item in the folder, or of the open item itself where the name is "".
    template <class Edit>
    int edit(const char* what, int folder, const char* name, Edit edit);

    std::recursive_mutex mMutex;
    std::mt19937_64 mRandom;
    std::int64_t mClock = 1'700'000'000'000'000'000;
    std::map<std::string, std::unique_ptr<Disk>> mDisks; ///< By the path of their top.
    std::map<int, Open> mOpen;
    std::map<std::pair<Disk*, std::uint64_t>, int> mLocks; ///< The descriptor that holds each.
    Mishap mMishap;
    long mCalls = 0;
    bool mIsDead = false;
    Disk* mLostDisk = nullptr; ///< Whose server is gone until the restart.
    Disk* mServer = nullptr;
    int mPersons = 0;
    bool mLosesAnswer = false;
    std::string mMishapCall;
};

/// Makes SQLite open its files through the system that stands in, or no longer.
void redirectSqlite(bool on);

} // namespace braid::sim
