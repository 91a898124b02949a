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

/// A transaction in which nothing happened for so long was left behind by a program that came to a sudden end.
inline constexpr std::int64_t kLeftBehind = 600'000'000'000; // ns

/// EBUSY: a program is in the middle of a transaction, and neither the database nor the journal that it is damaged
/// without may be moved. `joined` is how both look, `now` the time by the clock of their home. 0 or an errno value.
int checkNotInTransaction(int folder, const std::string& name, const Stat& joined, std::int64_t now);

/// Makes of `copy`, a copy of the database itself, what SQLite makes of the database and its journals when it opens it:
/// the log is played in, an unfinished transaction taken back. 0 or an errno value; EBUSY: what became of the
/// transaction cannot be told from here.
int takeIn(int folder, const char* name, const Descriptor& copy);

} // namespace braid::journals
