#include <unistd.h>

#include <cerrno>
#include <charconv>

#include "braid/disk/calls.h"
#include "braid/engine.h"

namespace braid
{

namespace
{

EngineLock::Holder readHolder(int descriptor)
{
    constexpr std::size_t kMostBytes = 32;
    EngineLock::Holder holder;
    const auto text = disk::readSmall(descriptor, kMostBytes);
    if (text) std::from_chars(text->data(), text->data() + text->size(), holder.pid);
    return holder;
}

} // namespace

std::string EngineLock::Holder::words() const
{
    return pid == 0 ? "Another process" : "Process " + std::to_string(pid);
}

std::variant<std::unique_ptr<EngineLock>, EngineLock::Holder, std::string>
EngineLock::take(const std::filesystem::path& localHome, bool leavesNoTrace)
{
    const auto refuse = [&](int code) {
        return "The marker folder of " + localHome.native() + " cannot be used: " + errorWords(code) + ".";
    };
    const auto root = disk::openTop(localHome.native());
    if (!root) return refuse(root.problem().code);
    if (!leavesNoTrace) {
        const int code = disk::makeFolder(root->number(), ".Braid", 0700);
        if (code != 0 && code != EEXIST) return refuse(code);
    }
    const auto folder = disk::openFolder(root->number(), ".Braid");
    if (!folder) return refuse(folder.problem().code);
    auto file = disk::openToWrite(folder->number(), "lock", !leavesNoTrace);
    if (!file) return refuse(file.problem().code);
    if (int code = disk::lockFile(file->number())) {
        if (code == EWOULDBLOCK) return readHolder(file->number());
        return refuse(code);
    }
    if (!leavesNoTrace) {
        // It is the lock that counts; on a full disk nobody gets to know who holds it.
        const int code = disk::rewrite(file->number(), std::to_string(::getpid()) + "\n");
        if (code != 0 && !isFull(code)) return refuse(code);
    }
    return std::unique_ptr<EngineLock>{new EngineLock{std::move(*file), leavesNoTrace}};
}

std::optional<EngineLock::Holder> EngineLock::holder(const std::filesystem::path& localHome)
{
    const auto folder = disk::openTop((localHome / ".Braid").native());
    if (!folder) return std::nullopt;
    const auto file = disk::openFile(folder->number(), "lock");
    if (!file || disk::isLockFree(file->number())) return std::nullopt;
    return readHolder(file->number());
}

EngineLock::EngineLock(Descriptor file, bool leavesNoTrace) : mFile(std::move(file)), mLeavesNoTrace(leavesNoTrace) {}

EngineLock::~EngineLock()
{
    // An empty file says that nobody holds it; otherwise the next holder writes over it. Closing frees the lock.
    if (!mLeavesNoTrace) disk::rewrite(mFile.number(), "");
}

} // namespace braid
