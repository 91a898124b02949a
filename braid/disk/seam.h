#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "braid/peers.h"

/// The one place where every file-system operation of the engine passes by, so that a test can count them, let one
/// fail or end the process before it; and that counts them for the pass's report.
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

struct OperationName {
    Operation operation;
    const char* name;
};

inline constexpr auto kOperationNames = std::to_array<OperationName>({
    {Operation::OpenFolder, "openFolder"},
    {Operation::List, "list"}, // a whole folder
    {Operation::Stat, "stat"},
    {Operation::OpenFile, "openFile"},
    {Operation::Read, "read"},
    {Operation::Create, "create"},
    {Operation::Write, "write"},
    {Operation::MakeFolder, "makeFolder"},
    {Operation::MakeLink, "makeLink"},
    {Operation::ReadLink, "readLink"},
    {Operation::Rename, "rename"}, // or the first name of a file that had none
    {Operation::Exchange, "exchange"},
    {Operation::HardLink, "hardLink"},
    {Operation::Unlink, "unlink"},
    {Operation::RemoveFolder, "removeFolder"},
    {Operation::Restamp, "restamp"}, // mode, time, owner or attributes of an item
    {Operation::Attributes, "attributes"},
    {Operation::Durable, "durable"},
});

/// Operations of this process so far, by kind in the order of kOperationNames, in each home.
using OperationCounts = PerPeer<std::array<std::uint64_t, kOperationNames.size()>>;
OperationCounts operationCounts();

/// From now on what is done with this open folder or file is counted for that home.
void belongsTo(Peer peer, int descriptor);
/// As above for what was opened by way of another descriptor.
void inherit(int from, int descriptor);
/// `descriptor` is the folder that the operation works in, or the open item itself.
void count(Operation operation, int descriptor);

/// Asked before each operation; `name` is the item's last path component or "". 0 lets it happen, an errno value
/// makes it fail with that. Called from several threads.
using Watcher = int (*)(Operation operation, const char* name);

extern std::atomic<Watcher> gWatcher;

inline int ask(Operation operation, int descriptor, const char* name)
{
    count(operation, descriptor);
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
