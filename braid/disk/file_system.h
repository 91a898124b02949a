#pragma once

#include <cstdint>

/// What the file system of an open file or folder is like, and the room on it.
namespace braid::disk
{

/// It flushes all its writes with one call and keeps the order of its own changes.
bool syncsAsAWhole(int descriptor);

/// The file server can copy a file by itself, without the bytes coming here and going back.
bool copiesOnServer(int descriptor);

/// It may give every name a number of its own, as in user space: an item that went by way of a second name would not be
/// known again.
bool numbersNames(int descriptor);

/// What is done to a link by its name is done to the link. In user space a file system may follow it, as one that
/// speaks SFTP does, to an item that nobody meant.
bool holdsLinksApart(int descriptor);

/// Of the whole file system, in bytes; 0 where it does not tell.
std::uint64_t capacityOf(int descriptor);
/// The part of it that is left for those without privileges; as much as can be where it does not tell.
std::uint64_t freeRoomOf(int descriptor);

/// What the item takes, in bytes; 0 where there is none.
std::uint64_t roomOf(int folder, const char* name);
/// Has room kept for the first `bytes` of the file, whose size stays as it is, or nothing: 0 or an errno value,
/// EOPNOTSUPP where that cannot be. Not while somebody else changes the file's size.
int setRoomAside(int file, std::uint64_t bytes);

} // namespace braid::disk
