// Writes a home folder that looks like a person's: many small files, some large ones, folders of uneven depth. The
// same arguments give the same home, byte for byte and time for time, on every machine.
//
//     make_home FOLDER FILES MEDIAN_BYTES MEAN_BYTES SEED

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <numbers>
#include <string>
#include <vector>

namespace
{

constexpr unsigned kFilesPerFolder = 20;
constexpr unsigned kFoldersPerFolder = 8;
constexpr double kLargest = 64.0 * 1024 * 1024;    // a few giants would decide the whole measurement
constexpr std::int64_t kFirstTime = 1'700'000'000; // long ago: no file is too young for its time to be trusted

/// The standard library's distributions differ from one library to the next; this does not (splitmix64).
class Random
{
public:
    explicit Random(std::uint64_t seed) : mState(seed) {}
    std::uint64_t next()
    {
        std::uint64_t z = (mState += 0x9e3779b97f4a7c15U);
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9U;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebU;
        return z ^ (z >> 31);
    }
    double fraction() { return (static_cast<double>(next() >> 11) + 0.5) / 9007199254740992.0; }
    double normal() { return std::sqrt(-2 * std::log(fraction())) * std::cos(2 * std::numbers::pi * fraction()); }

private:
    std::uint64_t mState;
};

void fail(const std::string& what)
{
    std::perror(what.c_str());
    std::exit(1);
}

/// Folder 0 is the top; each holds up to kFoldersPerFolder others.
std::vector<std::string> makeFolders(const std::string& top, unsigned count)
{
    std::vector<std::string> folders{top};
    if (::mkdir(top.c_str(), 0755) < 0) fail(top);
    while (folders.size() < count) {
        const std::size_t parent = (folders.size() - 1) / kFoldersPerFolder;
        std::string path = folders[parent] + "/Folder " + std::to_string(folders.size());
        if (::mkdir(path.c_str(), 0755) < 0) fail(path);
        folders.push_back(std::move(path));
    }
    return folders;
}

void writeFile(const std::string& path, std::size_t size, std::int64_t time, Random& random)
{
    static std::array<std::uint64_t, 8192> block;
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (file < 0) fail(path);
    while (size > 0) {
        const std::size_t part = std::min(size, sizeof block);
        std::generate_n(block.begin(), (part + 7) / 8, [&] { return random.next(); });
        if (::write(file, block.data(), part) != static_cast<ssize_t>(part)) fail(path);
        size -= part;
    }
    const timespec stamp{time, static_cast<long>(random.next() % 1'000'000'000)};
    const std::array<timespec, 2> times{stamp, stamp};
    if (::futimens(file, times.data()) < 0) fail(path);
    ::close(file);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 6) {
        std::fputs("make_home FOLDER FILES MEDIAN_BYTES MEAN_BYTES SEED\n", stderr);
        return 2;
    }
    const auto files = static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10));
    const double median = std::strtod(argv[3], nullptr);
    const double mean = std::strtod(argv[4], nullptr);
    Random random{std::strtoull(argv[5], nullptr, 10)};
    // Log-normal, like the sizes in real homes.
    const double spread = mean > median ? std::sqrt(2 * std::log(mean / median)) : 0;
    const auto folders = makeFolders(argv[1], files / kFilesPerFolder + 1);
    std::uint64_t total = 0;
    for (unsigned i = 0; i < files; ++i) {
        const double size = std::min(kLargest, median * std::exp(spread * random.normal()));
        const std::string& folder = folders[random.next() % folders.size()];
        writeFile(folder + "/File " + std::to_string(i) + ".dat", static_cast<std::size_t>(size), kFirstTime + i,
                  random);
        total += static_cast<std::uint64_t>(size);
    }
    std::printf("%u files, %zu folders, %.0f MB\n", files, folders.size(), static_cast<double>(total) / 1e6);
}
