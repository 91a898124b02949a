#pragma once

#include <vector>

#include "descriptor.h"
#include "facts.h"
#include "listing.h"

/// SQLite keeps part of a database in journals beside it: "x-wal", "x-shm", "x-journal" beside "x". They are no items
/// of their own: the database alone without them, or beside those of another version, is damaged. So the database
/// stands for all of them, and what is copied is a database that has taken its journals in.
namespace braid::journals
{

/// Takes the journals out of what was listed and has their databases speak for them (see Stat::journals).
void join(int folder, std::vector<Listing::Item>& items);

/// The item, as join() would have it if `seen` was such a database.
Outcome<Stat> lookAgain(int folder, const char* name, const Stat& seen);
/// The same, joined whatever is known of it.
Outcome<Stat> lookJoined(int folder, const char* name);

/// Some journal lies beside the item.
bool areBeside(int folder, const char* name);

/// A database lies in the folder that would take an item of this name for a journal of its own.
bool wouldBelong(int folder, const std::string& name);

/// The names of those that may lie beside the item.
std::vector<std::string> namesBeside(const std::string& name);

/// EBUSY: without its journal the database is damaged, and neither it nor that may be moved. 0 or an errno value.
int checkNotInTransaction(int folder, const std::string& name);

/// Brings what the database's write-ahead log holds into `copy`, a copy of the database itself, as SQLite does when it
/// opens it. 0 or an errno value; EBUSY in the middle of a transaction.
int takeIn(int folder, const char* name, const Descriptor& copy);

} // namespace braid::journals
