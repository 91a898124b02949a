#include "far_services.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <map>

#include "far_protocol.h"

namespace platform
{

namespace
{

using far::dataOf;
using far::valueOf;
using roamer::Data;
using roamer::Dictionary;
using Answer = std::optional<Dictionary>;

bool flagOf(const Answer& answer)
{
    return answer && valueOf<bool>(*answer, far::kFlag);
}

std::optional<Data> bytesOf(const Answer& answer)
{
    if (!answer || !answer->contains(far::kBytes)) return std::nullopt;
    return valueOf<Data>(*answer, far::kBytes);
}

/// An answer without an error says that the worker could not even try.
int errorOf(const Answer& answer)
{
    if (!answer) return ETIMEDOUT;
    return answer->contains(far::kError) ? static_cast<int>(valueOf<std::int64_t>(*answer, far::kError)) : EPERM;
}

Dictionary question(const char* call, const std::string& path)
{
    return {{far::kCall, call}, {far::kPath, dataOf(path)}};
}

Dictionary question(const char* call, const std::string& path, const std::string& name)
{
    return {{far::kCall, call}, {far::kPath, dataOf(path)}, {far::kName, dataOf(name)}};
}

class FarFileSystem final : public FileSystem
{
public:
    FarFileSystem(FileSystem& near, FarLink& link) : mNear(near), mLink(link) {}

    bool exists(const std::string& path) override { return flag(far::kExists, &FileSystem::exists, path); }
    bool isDirectory(const std::string& path) override
    {
        return flag(far::kIsDirectory, &FileSystem::isDirectory, path);
    }
    bool directoryIsReadable(const std::string& path) override
    {
        return flag(far::kDirectoryIsReadable, &FileSystem::directoryIsReadable, path);
    }
    bool createDirectory(const std::string& path) override
    {
        return flag(far::kCreateDirectory, &FileSystem::createDirectory, path);
    }
    bool reach(const std::string& path) override { return flag(far::kReach, &FileSystem::reach, path); }
    bool isPackage(const std::string& path) override { return flag(far::kIsPackage, &FileSystem::isPackage, path); }

    std::optional<std::vector<std::string>> contentsOfDirectory(const std::string& path) override
    {
        const auto mount = mLink.mountOf(path);
        if (!mount) return mNear.contentsOfDirectory(path);
        const auto answer = mLink.ask(*mount, question(far::kContentsOfDirectory, path));
        if (!answer || !answer->contains(far::kNames)) return std::nullopt;
        std::vector<std::string> names;
        for (const auto& name : valueOf<roamer::Array>(*answer, far::kNames)) {
            if (const auto* data = name.as<Data>()) names.push_back(far::textOf(*data));
        }
        return names;
    }
    std::string displayName(const std::string& path) override { return mNear.displayName(path); }
    bool answers(const std::string& path) override
    {
        const auto mount = mLink.mountOf(path);
        return !mount || !mLink.isSilent(*mount);
    }

private:
    bool flag(const char* call, bool (FileSystem::*direct)(const std::string&), const std::string& path)
    {
        const auto mount = mLink.mountOf(path);
        return mount ? flagOf(mLink.ask(*mount, question(call, path))) : (mNear.*direct)(path);
    }

    FileSystem& mNear;
    FarLink& mLink;
};

class FarPreferenceStore final : public PreferenceStore
{
public:
    FarPreferenceStore(PreferenceStore& near, FarLink& link) : mNear(near), mLink(link) {}

    std::optional<Data> readFile(const std::string& path) override
    {
        const auto mount = mLink.mountOf(path);
        return mount ? bytesOf(mLink.ask(*mount, question(far::kReadWholeFile, path))) : mNear.readFile(path);
    }
    bool writeFile(const std::string& path, std::span<const std::byte> bytes, bool atomically) override
    {
        const auto mount = mLink.mountOf(path);
        if (!mount) return mNear.writeFile(path, bytes, atomically);
        auto asked = question(far::kWriteWholeFile, path);
        asked[far::kBytes] = dataOf(bytes);
        asked[far::kFlag] = atomically;
        return flagOf(mLink.ask(*mount, std::move(asked)));
    }
    std::optional<Data> readFileInHome(const std::string& home, const std::string& path) override
    {
        const auto mount = mLink.mountOf(home);
        if (!mount) return mNear.readFileInHome(home, path);
        return bytesOf(mLink.ask(*mount, question(far::kReadFileInHome, home, path)));
    }
    bool writeFileInHome(const std::string& home, const std::string& path, std::span<const std::byte> bytes) override
    {
        const auto mount = mLink.mountOf(home);
        if (!mount) return mNear.writeFileInHome(home, path, bytes);
        auto asked = question(far::kWriteFileInHome, home, path);
        asked[far::kBytes] = dataOf(bytes);
        return flagOf(mLink.ask(*mount, std::move(asked)));
    }
    bool writeDomain(const Dictionary& dictionary, const std::string& folder, const std::string& domain) override
    {
        const auto mount = mLink.mountOf(folder);
        if (!mount) return mNear.writeDomain(dictionary, folder, domain);
        auto asked = question(far::kWriteDomain, folder, domain);
        asked[far::kDictionary] = dictionary;
        return flagOf(mLink.ask(*mount, std::move(asked)));
    }
    bool writeManagedDomain(const Dictionary& dictionary, const std::string& user, const std::string& domain) override
    {
        return mNear.writeManagedDomain(dictionary, user, domain);
    }
    bool createManagedFolder(const std::string& path) override { return mNear.createManagedFolder(path); }

private:
    PreferenceStore& mNear;
    FarLink& mLink;
};

class FarFileManager final : public FileManager
{
public:
    FarFileManager(FileManager& near, FarLink& link) : mNear(near), mLink(link) {}

    int readFolderIdentity(const std::string& folder, FolderIdentity& identity) override
    {
        const auto mount = mLink.mountOf(folder);
        if (!mount) return mNear.readFolderIdentity(folder, identity);
        const auto answer = mLink.ask(*mount, question(far::kReadFolderIdentity, folder));
        if (const int error = errorOf(answer)) return error;
        identity = {static_cast<std::uint64_t>(valueOf<std::int64_t>(*answer, far::kVolume)),
                    static_cast<std::uint64_t>(valueOf<std::int64_t>(*answer, far::kFolder))};
        return kFileOk;
    }
    int createFile(const std::string& folder, const std::string& name) override
    {
        return named(far::kCreateFile, &FileManager::createFile, folder, name);
    }
    int hideFile(const std::string& folder, const std::string& name) override
    {
        return named(far::kHideFile, &FileManager::hideFile, folder, name);
    }
    int deleteFile(const std::string& folder, const std::string& name) override
    {
        return named(far::kDeleteFile, &FileManager::deleteFile, folder, name);
    }

    Opened openFile(const std::string& folder, const std::string& name, Access access) override
    {
        const auto mount = mLink.mountOf(folder);
        if (!mount) {
            const auto opened = mNear.openFile(folder, name, access);
            return {opened.error, numberFor({{}, 0, opened.refNum})};
        }
        auto asked = question(far::kOpenFile, folder, name);
        asked[far::kFlag] = access == Access::ReadWriteDenyWrite;
        const auto answer = mLink.ask(*mount, std::move(asked));
        const int error = errorOf(answer);
        if (error != kFileOk && error != kFileOpenForWriting) return {error, 0};
        const auto refNum = static_cast<RefNum>(valueOf<std::int64_t>(*answer, far::kRefNum));
        return {error, numberFor({*mount, mLink.workerOf(*mount), refNum})};
    }

    Got readFile(RefNum file, std::uint64_t offset, std::span<std::byte> buffer) override
    {
        const auto held = find(file);
        if (!held) return {EBADF, 0};
        if (held->mount.empty()) return mNear.readFile(held->refNum, offset, buffer);
        Answer answer;
        const int error = ask(*held,
                              {{far::kCall, far::kReadFile},
                               {far::kOffset, static_cast<std::int64_t>(offset)},
                               {far::kCount, static_cast<std::int64_t>(buffer.size())}},
                              &answer);
        const auto bytes = bytesOf(answer).value_or(Data());
        const auto count = std::min(bytes.size(), buffer.size());
        std::copy_n(bytes.begin(), count, buffer.begin());
        return {error, count};
    }
    int writeFile(RefNum file, std::uint64_t offset, std::span<const std::byte> bytes) override
    {
        const auto held = find(file);
        if (!held) return EBADF;
        if (held->mount.empty()) return mNear.writeFile(held->refNum, offset, bytes);
        return ask(*held, {{far::kCall, far::kWriteFile},
                           {far::kOffset, static_cast<std::int64_t>(offset)},
                           {far::kBytes, dataOf(bytes)}});
    }
    int setFileLength(RefNum file, std::uint64_t bytes) override
    {
        const auto held = find(file);
        if (!held) return EBADF;
        if (held->mount.empty()) return mNear.setFileLength(held->refNum, bytes);
        return ask(*held, {{far::kCall, far::kSetFileLength}, {far::kOffset, static_cast<std::int64_t>(bytes)}});
    }
    int flushFile(RefNum file) override
    {
        const auto held = find(file);
        if (!held) return EBADF;
        return held->mount.empty() ? mNear.flushFile(held->refNum) : ask(*held, {{far::kCall, far::kFlushFile}});
    }
    int closeFile(RefNum file) override
    {
        const auto held = find(file);
        if (!held) return EBADF;
        mHeld.erase(file);
        return held->mount.empty() ? mNear.closeFile(held->refNum) : ask(*held, {{far::kCall, far::kCloseFile}});
    }

private:
    /// A file by whoever holds it open.
    struct Held {
        std::string mount; ///< "": the near service.
        std::uint64_t worker = 0;
        RefNum refNum = 0;
        bool operator==(const Held&) const = default;
    };

    int named(const char* call, int (FileManager::*direct)(const std::string&, const std::string&),
              const std::string& folder, const std::string& name)
    {
        const auto mount = mLink.mountOf(folder);
        return mount ? errorOf(mLink.ask(*mount, question(call, folder, name))) : (mNear.*direct)(folder, name);
    }

    int ask(const Held& held, Dictionary asked, Answer* answerOut = nullptr)
    {
        if (mLink.workerOf(held.mount) != held.worker) return ESTALE;
        asked[far::kRefNum] = held.refNum;
        const auto answer = mLink.ask(held.mount, std::move(asked));
        if (answerOut != nullptr) *answerOut = answer;
        return errorOf(answer);
    }

    std::optional<Held> find(RefNum file) const
    {
        const auto found = mHeld.find(file);
        return found != mHeld.end() ? std::optional(found->second) : std::nullopt;
    }

    /// The number that the file has here already, or a new one; 0 for none.
    RefNum numberFor(const Held& held)
    {
        if (held.refNum == 0) return 0;
        for (const auto& [number, known] : mHeld) {
            if (known == held) return number;
        }
        do {
            mLast = mLast == std::numeric_limits<RefNum>::max() ? RefNum{1} : static_cast<RefNum>(mLast + 1);
        } while (mHeld.contains(mLast));
        mHeld.emplace(mLast, held);
        return mLast;
    }

    FileManager& mNear;
    FarLink& mLink;
    std::map<RefNum, Held> mHeld;
    RefNum mLast = 0;
};

} // namespace

std::unique_ptr<FileSystem> makeFarFileSystem(FileSystem& near, FarLink& link)
{
    return std::make_unique<FarFileSystem>(near, link);
}

std::unique_ptr<PreferenceStore> makeFarPreferenceStore(PreferenceStore& near, FarLink& link)
{
    return std::make_unique<FarPreferenceStore>(near, link);
}

std::unique_ptr<FileManager> makeFarFileManager(FileManager& near, FarLink& link)
{
    return std::make_unique<FarFileManager>(near, link);
}

} // namespace platform
