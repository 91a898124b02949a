#include "computers.h"

#include <array>
#include <charconv>
#include <ctime>
#include <span>
#include <string_view>
#include <variant>

#include <sys/stat.h>
#include <unistd.h>

#include "durable_file.h"

namespace braid::agent
{

namespace
{

constexpr std::size_t kLimitBytes = 4096;
constexpr std::size_t kReplicaDigits = 32;
constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
// A note is for people, who think in days: not every pass needs to write it.
constexpr std::int64_t kFreshSeconds = 600;

std::optional<std::string> textOf(const std::filesystem::path& file)
{
    const auto content = readFile(file, kLimitBytes);
    const auto* bytes = std::get_if<std::vector<std::byte>>(&content);
    if (bytes == nullptr) return std::nullopt;
    return std::string(reinterpret_cast<const char*>(bytes->data()), bytes->size());
}

/// A note is the time, a blank, the name.
std::optional<Computer> readNote(const std::filesystem::path& file)
{
    const auto text = textOf(file);
    if (!text) return std::nullopt;
    Computer computer;
    const char* end = text->data() + text->size();
    const auto [stop, error] = std::from_chars(text->data(), end, computer.lastPass);
    if (error != std::errc{} || stop == end || *stop != ' ') return std::nullopt;
    computer.name.assign(stop + 1, end);
    while (computer.name.ends_with('\n'))
        computer.name.pop_back();
    if (computer.name.empty()) return std::nullopt;
    return computer;
}

void writeNote(const std::filesystem::path& file)
{
    const std::int64_t now = std::time(nullptr);
    const auto last = readNote(file);
    if (last && last->name == thisComputer() && now - last->lastPass < kFreshSeconds && now >= last->lastPass) return;
    ::mkdir(file.parent_path().c_str(), 0700);
    const std::string text = std::to_string(now) + " " + thisComputer() + "\n";
    [[maybe_unused]] const auto problem = replaceFile(file, std::as_bytes(std::span(text)));
}

} // namespace

std::vector<Computer> meetComputers(const std::filesystem::path& networkHome, const std::filesystem::path& localHome)
{
    const auto replica = textOf(localHome / ".Braid" / "replica");
    if (!replica || replica->size() < kReplicaDigits) return {};
    const std::string own = replica->substr(0, kReplicaDigits);
    const auto folder = networkHome / ".Braid" / "computers";
    writeNote(folder / own);
    std::vector<Computer> others;
    std::error_code error;
    for (std::filesystem::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
        const auto name = it->path().filename();
        if (name == own || name.native().size() != kReplicaDigits) continue;
        if (auto computer = readNote(it->path())) others.push_back(*std::move(computer));
    }
    return others;
}

std::string thisComputer()
{
    std::array<char, 256> name{};
    if (::gethostname(name.data(), name.size() - 1) != 0) return {};
    return std::string(std::string_view(name.data()).substr(0, std::string_view(name.data()).find('.')));
}

std::optional<std::string> whoBrought(std::int64_t mtime, const std::vector<Computer>& others)
{
    const Computer* found = nullptr;
    for (const auto& computer : others) {
        if (computer.lastPass + 1 < mtime / kNanosecondsPerSecond) continue;
        if (found != nullptr) return std::nullopt;
        found = &computer;
    }
    return found != nullptr ? std::optional(found->name) : std::nullopt;
}

} // namespace braid::agent
