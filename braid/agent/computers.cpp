#include "computers.h"

#include <array>
#include <ctime>
#include <limits>
#include <map>
#include <span>
#include <sstream>
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
constexpr std::string_view kReplicaWord = "id "; ///< Before the digits, in the home's own note of who it is.
constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
// A note is for people, who think in days: not every pass needs to write it.
constexpr std::int64_t kFreshSeconds = 600;

constexpr std::string_view kLastGoodPass = "lastGoodPass";
constexpr std::string_view kConflicts = "conflicts";
constexpr std::string_view kHeldDeletions = "heldDeletions";
constexpr std::string_view kErrors = "errors";
constexpr std::string_view kVersion = "version";
constexpr std::string_view kMassDeletion = "mass-deletion"; ///< A conflict's kind.

std::optional<std::string> textOf(const std::filesystem::path& file)
{
    const auto content = readFile(file, kLimitBytes);
    const auto* bytes = std::get_if<std::vector<std::byte>>(&content);
    if (bytes == nullptr) return std::nullopt;
    return std::string(reinterpret_cast<const char*>(bytes->data()), bytes->size());
}

/// A note is a line with the time, a blank and the computer's name, then lines of a word and its value.
std::optional<Computer> readNote(const std::filesystem::path& file)
{
    std::error_code error;
    if (!std::filesystem::is_regular_file(std::filesystem::symlink_status(file, error))) return std::nullopt;
    const auto text = textOf(file);
    if (!text) return std::nullopt;
    std::istringstream note(*text);
    Computer computer;
    if (!(note >> computer.lastPass) || note.get() != ' ' || !std::getline(note, computer.name)) return std::nullopt;
    if (computer.name.empty()) return std::nullopt;
    for (std::string word; note >> word;) {
        if (word == kLastGoodPass) {
            note >> computer.lastGoodPass;
        } else if (word == kConflicts) {
            note >> computer.conflicts;
        } else if (word == kHeldDeletions) {
            note >> computer.heldDeletions;
        } else if (word == kErrors) {
            note >> computer.errors;
        } else if (word == kVersion) {
            note >> computer.version;
        }
        note.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    }
    return computer;
}

std::string noteOf(const Computer& computer)
{
    std::ostringstream note;
    note << computer.lastPass << ' ' << computer.name << '\n'
         << kLastGoodPass << ' ' << computer.lastGoodPass << '\n'
         << kConflicts << ' ' << computer.conflicts << '\n'
         << kHeldDeletions << ' ' << computer.heldDeletions << '\n'
         << kErrors << ' ' << computer.errors << '\n'
         << kVersion << ' ' << computer.version << '\n';
    return note.str();
}

bool tellsTheSame(const Computer& a, const Computer& b)
{
    return a.name == b.name && a.conflicts == b.conflicts && a.heldDeletions == b.heldDeletions &&
           a.errors == b.errors && a.version == b.version &&
           (a.lastGoodPass == a.lastPass) == (b.lastGoodPass == b.lastPass);
}

Computer thisComputerAfter(const PassReport& report, const std::optional<Computer>& before)
{
    Computer computer;
    computer.name = thisComputer();
    computer.lastPass = std::time(nullptr);
    computer.lastGoodPass = report.result == kPassSucceeded ? computer.lastPass : before ? before->lastGoodPass : 0;
    for (const auto& conflict : report.conflicts)
        ++(conflict.kind == kMassDeletion ? computer.heldDeletions : computer.conflicts);
    computer.errors = report.errors.size();
    computer.version = BRAID_VERSION;
    return computer;
}

void writeNote(const std::filesystem::path& file, const PassReport& report)
{
    const auto before = readNote(file);
    const auto now = thisComputerAfter(report, before);
    const bool isFresh = before && now.lastPass - before->lastPass < kFreshSeconds && now.lastPass >= before->lastPass;
    if (isFresh && tellsTheSame(*before, now)) return;
    ::mkdir(file.parent_path().c_str(), 0700);
    const auto text = noteOf(now);
    [[maybe_unused]] const auto problem = replaceFile(file, std::as_bytes(std::span(text)));
}

std::filesystem::path folderOf(const std::filesystem::path& networkHome)
{
    return networkHome / ".Braid" / "computers";
}

/// By the replica ids of their local homes.
std::map<std::string, Computer> notesIn(const std::filesystem::path& folder)
{
    std::map<std::string, Computer> notes;
    std::error_code error;
    for (const auto& part : {folder.parent_path(), folder}) {
        if (!std::filesystem::is_directory(std::filesystem::symlink_status(part, error))) return notes;
    }
    for (std::filesystem::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
        const auto name = it->path().filename().native();
        if (name.size() != kReplicaDigits) continue;
        if (auto computer = readNote(it->path())) {
            computer->id = name;
            notes.emplace(name, *std::move(computer));
        }
    }
    return notes;
}

} // namespace

std::vector<Computer> computersOf(const std::filesystem::path& networkHome)
{
    std::vector<Computer> computers;
    for (auto& [replica, computer] : notesIn(folderOf(networkHome)))
        computers.push_back(std::move(computer));
    return computers;
}

std::vector<Computer> meetComputers(const std::filesystem::path& networkHome, const std::filesystem::path& localHome,
                                    const PassReport& report)
{
    const auto replica = textOf(localHome / ".Braid" / "replica");
    if (!replica || !replica->starts_with(kReplicaWord)) return {};
    const std::string own = replica->substr(kReplicaWord.size(), kReplicaDigits);
    if (own.size() < kReplicaDigits) return {};
    writeNote(folderOf(networkHome) / own, report);
    std::vector<Computer> others;
    for (auto& [name, computer] : notesIn(folderOf(networkHome))) {
        if (name != own) others.push_back(std::move(computer));
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
