#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "braid/archive/archive.h"

namespace
{

namespace fs = std::filesystem;
using braid::Archive;

const fs::path& folder()
{
    static const fs::path made = [] {
        std::string name = (fs::exists("/dev/shm") ? "/dev/shm" : "/tmp") + std::string{"/archive-fuzz-XXXXXX"};
        if (::mkdtemp(name.data()) == nullptr) std::abort();
        std::atexit([] { fs::remove_all(folder()); });
        return fs::path{name};
    }();
    return made;
}

/// Everything that a pass reads in an archive, and some of what it writes.
void use(Archive& archive)
{
    archive.usePair("local", "network");
    std::size_t count = 0;
    for (const char* path : {"", "folder"})
        count += archive.children(path).size();
    archive.matters();
    archive.useLastPair();
    archive.begin();
    braid::Entry entry;
    entry.kind = braid::Kind::File;
    entry.size = static_cast<std::int64_t>(count);
    archive.record("folder/file", entry);
    archive.record("folder/other", entry);
    archive.replaceMatters([](std::string_view) { return false; }, {{{"folder/file", "modify/modify"}, {}}}, {});
    archive.commit();
}

std::string wholeArchive()
{
    for (const auto& item : fs::directory_iterator{folder()})
        fs::remove_all(item.path());
    {
        auto archive = Archive::open(folder().native(), true);
        if (!archive) std::abort();
        use(**archive);
    }
    std::ifstream in{folder() / "archive.sqlite", std::ios::binary};
    return {std::istreambuf_iterator<char>{in}, {}};
}

} // namespace

/// A whole archive with some bytes changed: two for the place and one for the value, again and again. What begins with
/// 0 is the file itself.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const std::string whole = wholeArchive();
    std::string file = whole;
    if (size > 0 && data[0] == 0) {
        file.assign(reinterpret_cast<const char*>(data + 1), size - 1);
    } else {
        // More of them only say once more that it is no database.
        constexpr std::size_t kMostChanges = 40;
        for (std::size_t i = 0; i + 3 <= size && i < 3 * kMostChanges; i += 3)
            file[(std::size_t{data[i]} * 256 + data[i + 1]) % file.size()] = static_cast<char>(data[i + 2]);
    }
    for (const auto& item : fs::directory_iterator{folder()})
        fs::remove_all(item.path());
    std::ofstream{folder() / "archive.sqlite", std::ios::binary} << file;
    for (const bool mayWrite : {false, true}) {
        auto archive = Archive::open(folder().native(), mayWrite);
        if (archive) use(**archive);
        if (archive && (*archive)->isDamaged() && mayWrite) archive = Archive::openAfresh(folder().native(), mayWrite);
        // A pass can always begin.
        if (!archive) std::abort();
    }
    return 0;
}
