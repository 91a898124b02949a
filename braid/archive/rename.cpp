#include "archive.h"
#include "braid/disk/facts.h"

namespace braid
{

void Archive::rename(std::string_view from, std::string_view to)
{
    // Everything below lies in a folder whose path is `from` or begins with it and a slash.
    const std::string first = std::string{from} + "/";
    const std::string behind = std::string{from} + "0"; // the byte after the slash
    for (const std::string table : {"item", "block"}) {
        Statement below =
            mDatabase->prepare(("UPDATE OR REPLACE " + table + " SET folder = CAST(?3 || substr(folder, ?4) AS BLOB)" +
                                " WHERE pair = ?1 AND (folder = ?2 OR (folder >= ?5 AND folder < ?6))")
                                   .c_str());
        below.bind(0, mPair).bindBlob(1, from).bindBlob(2, to).bind(3, static_cast<std::int64_t>(from.size()) + 1);
        below.bindBlob(4, first).bindBlob(5, behind).run();
        Statement itself = mDatabase->prepare(
            ("UPDATE OR REPLACE " + table + " SET name = ?4 WHERE pair = ?1 AND folder = ?2 AND name = ?3").c_str());
        itself.bind(0, mPair).bindBlob(1, folderOf(from)).bindBlob(2, nameOf(from)).bindBlob(3, nameOf(to)).run();
    }
}

} // namespace braid
