#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "descriptor.h"
#include "facts.h"
#include "problem.h"

/// System calls as the engine uses them: below an open folder, never through a link. Where an int is returned it is
/// 0 or an errno value.
namespace braid::disk
{

/// Opens a folder by its absolute path, through links.
Outcome<Descriptor> openTop(const std::string& path);
Outcome<Descriptor> openParent(int folder);

/// Opens the folder `path` below `root` ("" is the root itself) without following a link or crossing into another
/// mounted file system. Paths longer than the kernel takes at once are walked in pieces.
Outcome<Descriptor> openFolder(int root, std::string_view path);

/// The item `name` in the open folder; kind Absent where there is none.
Outcome<Stat> statAt(int folder, const char* name);
Outcome<Stat> statOf(int descriptor);
/// By its absolute path, through links.
Outcome<Stat> statPath(const std::string& path);

/// For reading; never follows a link, never waits for a pipe's other end, leaves the access time alone where it may.
Outcome<Descriptor> openFile(int folder, const char* name);
/// A new file that must not exist yet, for reading and writing; the process's mask narrows the mode.
Outcome<Descriptor> createFile(int folder, const char* name, std::uint16_t mode = 0600);
/// A new file without a name on the folder's file system; it goes when it is closed, unless nameFile() was called for
/// it. EOPNOTSUPP and others where there is no such thing.
Outcome<Descriptor> createUnnamed(int folder, std::uint16_t mode);

/// Closes it without waiting for it: to free what a large file held whose name is gone takes a while.
void closeBehind(Descriptor&& file);

/// For reading and writing; a missing one is made where `makes`. Never follows a link.
Outcome<Descriptor> openToWrite(int folder, const char* name, bool makes);

/// Everything in a file that is not expected to hold more than `most` bytes; what lies behind is left out.
Outcome<std::string> readSmall(int file, std::size_t most);
/// Puts `text` in place of what the file holds.
int rewrite(int file, std::string_view text);

int makeFolder(int folder, const char* name, std::uint16_t mode);
int makeLink(int folder, const char* name, const std::string& target);
/// Gives a file of createUnnamed() its name; EEXIST where something has that already.
int nameFile(int file, int folder, const char* name);
/// Gives the file a further name; EPERM, ENOTSUP, EMLINK and others where that cannot be.
int addName(int folder, const char* name, int newFolder, const char* newName);
Outcome<std::string> readLink(int folder, const char* name);
int unlink(int folder, const char* name);
int removeFolder(int folder, const char* name);
/// The item with everything below it; goes on after a failure and answers the first.
int removeTree(int folder, const char* name);
/// Bytes of the files below the folder `path`, as far as it can be read.
std::uint64_t bytesBelow(int root, const std::string& path);

/// Never replaces what lies at the new name: EEXIST. Where the file system knows no such rename, a hard link does it;
/// without hard links the absence is checked right before.
int renameNew(int fromFolder, const char* from, int toFolder, const char* to);
/// Swaps both items; EINVAL or ENOSYS where the file system cannot.
int exchange(int oneFolder, const char* one, int otherFolder, const char* other);
/// Replaces what lies at the new name.
int renameOver(int fromFolder, const char* from, int toFolder, const char* to);

int setMode(int folder, const char* name, std::uint16_t mode);
int setModifiedTime(int folder, const char* name, std::int64_t mtime);
int setOwner(int folder, const char* name, std::uint32_t owner, std::uint32_t group);
/// Sets the modified time of an open item to its file system's own "now".
int stampNow(int item);
/// The same for an open file, without a look-up for each.
int setMode(int file, std::uint16_t mode);
int setModifiedTime(int file, std::int64_t mtime);
int setOwner(int file, std::uint32_t owner, std::uint32_t group);

/// Everything written to the file system so far is on its disk afterwards.
int syncFileSystem(int descriptor);
int syncFile(int descriptor);

/// Takes the lock on the whole file, which ends with its last descriptor: 0, EWOULDBLOCK where another holds it.
int lockFile(int file);
/// Nothing: some other open file holds the lock, or it cannot be told. Changes nothing.
bool isLockFree(int file);

} // namespace braid::disk
