#pragma once

#include <atomic>

/// The one place where every file-system operation of the engine passes by, so that a test can count them, let one
/// fail or end the process before it.
namespace braid::seam
{

enum class Operation {
    OpenFolder,
    List,
    Stat,
    OpenFile,
    Read,
    Create,
    Write,
    MakeFolder,
    MakeLink,
    ReadLink,
    Rename,
    Exchange,
    HardLink,
    Unlink,
    RemoveFolder,
    Restamp,
    Attributes,
    Durable,
};

/// Asked before each operation; `name` is the item's last path component or "". 0 lets it happen, an errno value
/// makes it fail with that. Called from several threads.
using Watcher = int (*)(Operation operation, const char* name);

extern std::atomic<Watcher> gWatcher;

inline int ask(Operation operation, const char* name)
{
    const Watcher watcher = gWatcher.load(std::memory_order_relaxed);
    return watcher ? watcher(operation, name) : 0;
}

/// True for what changes a disk.
constexpr bool changesDisk(Operation operation)
{
    switch (operation) {
    case Operation::OpenFolder:
    case Operation::List:
    case Operation::Stat:
    case Operation::OpenFile:
    case Operation::Read:
    case Operation::ReadLink:
    case Operation::Attributes:
        return false;
    default:
        return true;
    }
}

} // namespace braid::seam
