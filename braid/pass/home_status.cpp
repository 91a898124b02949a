#include "braid/home_status.h"

#include "braid/archive/archive.h"
#include "braid/home/home.h"
#include "braid/home/trash_versions.h"

namespace braid
{

HomeStatus statusOf(const std::filesystem::path& localHome)
{
    HomeStatus status;
    const auto home = Home::open(Peer::Local, localHome);
    if (!home) return status;
    if (const auto& marker = (*home)->marker()) status.id = marker->id;
    status.engine = EngineLock::holder(localHome);

    if (const auto archive = Archive::openForQuestions(localHome)) {
        if (const auto pair = archive->useLastPair()) {
            status.partner = {pair->ids.network, pair->networkHome, pair->lastPass, archive->countEntries()};
            status.matters = archive->matters();
        }
    }
    if (const auto versions = listTrash(localHome)) {
        status.trashedVersions = versions->size();
        for (const TrashedVersion& version : *versions)
            status.trashBytes += static_cast<std::uint64_t>(version.stat.size);
    }
    return status;
}

} // namespace braid
