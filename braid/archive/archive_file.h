#pragma once

#include <memory>
#include <string>

#include "database.h"

/// The archive as a file in the local home's marker folder: opening it, its tables, and what becomes of a damaged one.
namespace braid
{

constexpr const char* kArchiveFile = "archive.sqlite";

/// Makes the file, or in it the tables that it lacks, where need be. ":memory:" makes an archive that forgets
/// everything.
Outcome<std::unique_ptr<Database>> openArchiveForWriting(const std::string& file);

/// An archive that nobody may write is read from a copy when its log is not empty: an immutable open skips the log.
/// Without a file it is one that forgets everything.
Outcome<std::unique_ptr<Database>> openArchiveForReading(const std::string& markerFolder);

/// Damaged, or of a layout that this version does not know.
bool isUnusableArchive(Database& database);

/// Gives the file another name, so that a new one can be begun. Nobody may have it open.
void setArchiveAside(const std::string& markerFolder);

} // namespace braid
