#pragma once

#include <gtest/gtest.h>

#include "braid/protocol.h"
#include "platform/linux/directory_service.h"
#include "platform/linux/property_list_codec.h"
#include "platform/linux/sync_engine.h"
#include "tests/fakes/private_bus.h"
#include "tests/fakes/temp_root.h"

namespace fakes
{

/// A bus, a system root with the real engine's programs, and two homes, one of which is the account's.
class EngineRig : public testing::Test
{
protected:
    EngineRig()
    {
        std::filesystem::create_directories(mLocal);
        std::filesystem::create_directories(mNetwork);
        const auto codec = platform::makePropertyListCodec();
        const auto user = platform::makeDirectoryService(*codec)->loginName();
        TempRoot::writeFile(mRoot.real("/Library/Directory/Local/Users/" + user + ".plist"),
                            "<plist><dict><key>axAttrTypeStandard:NFSHomeDirectory</key><array><string>" +
                                mLocal.string() + "</string></array></dict></plist>");
        const auto programs = mRoot.real(braid::protocol::kProgram).parent_path();
        std::filesystem::create_directories(programs);
        for (const char* program : {"BraidAgent", "BraidConflicts"})
            std::filesystem::create_symlink(std::filesystem::path(BRAID_PROGRAMS) / program, programs / program);
    }
    /// A set of one job: the whole home without "*.tmp".
    std::shared_ptr<platform::PhdSyncSet> createSet(platform::SyncManager& manager) const
    {
        auto set = manager.createPHDSyncSet("Roamer_Mirror", "file://" + mNetwork.parent_path().string(),
                                            mNetwork.filename().string());
        for (auto* peer : {&set->localPeer(), &set->remotePeer()}) {
            peer->setInclusionSets({{}});
            peer->setExclusionSets({{{roamer::ComparisonForm::NameEndsWith, ".tmp"}}});
        }
        set->setDefaultSyncOptions({{{platform::kSyncOptionExclusionInclusionSetIndexKey, 0}}});
        return set;
    }

    TempRoot mRoot;
    PrivateBus mPrivateBus;
    const std::filesystem::path mLocal = mRoot.real("/homes/local"), mNetwork = mRoot.real("/share/jo ü");
};

} // namespace fakes
