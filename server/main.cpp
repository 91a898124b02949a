// roamer: keeps the two homes of a portable account in step.
//
//   roamer        serves commands until it is told to quit
//   roamer -s     syncs now
//   roamer -r     reads the sync preferences anew
//
// The only place that builds the real platform services.

#include <memory>
#include <optional>
#include <string_view>

#include "agent_flows.h"
#include "platform/linux/application.h"
#include "platform/linux/bundle.h"
#include "platform/linux/directory_service.h"
#include "platform/linux/disk_service.h"
#include "platform/linux/distributed_notifications.h"
#include "platform/linux/effective_user.h"
#include "platform/linux/end_signals.h"
#include "platform/linux/event_trace.h"
#include "platform/linux/far_link.h"
#include "platform/linux/far_protocol.h"
#include "platform/linux/far_services.h"
#include "platform/linux/far_worker.h"
#include "platform/linux/file_manager.h"
#include "platform/linux/file_system.h"
#include "platform/linux/hardware_registry.h"
#include "platform/linux/identity_service.h"
#include "platform/linux/log_host.h"
#include "platform/linux/message_port.h"
#include "platform/linux/mount_service.h"
#include "platform/linux/object_messaging.h"
#include "platform/linux/power_service.h"
#include "platform/linux/predicates.h"
#include "platform/linux/preference_store.h"
#include "platform/linux/process_launcher.h"
#include "platform/linux/process_table.h"
#include "platform/linux/property_list_codec.h"
#include "platform/linux/run_loop.h"
#include "platform/linux/share_holds.h"
#include "platform/linux/standard_input.h"
#include "platform/linux/sync_engine.h"
#include "platform/linux/system_log.h"
#include "platform/linux/system_settings.h"
#include "platform/linux/threads.h"
#include "platform/linux/user_formats.h"
#include "platform/linux/user_notification.h"
#include "platform/linux/window_system.h"
#include "roamer_main.h"
#include "util/debug_log.h"
#include "util/debug_log_file.h"
#include "util/report.h"

namespace
{

void endWithTheBus()
{
    roamer::DebugLog(1, "Roamer: the message bus went away, ending");
    roamer::Pavo_StopPavo();
}

/// Members stand in the order of what needs what; the application object comes first.
class LinuxServices
{
public:
    roamer::Services services()
    {
        return {
            .application = *mApplication,
            .bundles = *mBundles,
            .directory = *mDirectory,
            .disks = *mDisks,
            .notifications = *mNotifications,
            .effectiveUser = *mEffectiveUser,
            .eventTrace = *mEventTrace,
            .fileManager = *mFileManager,
            .fileSystem = *mFileSystem,
            .hardware = *mHardware,
            .identity = *mIdentity,
            .launcher = *mLauncher,
            .messagePort = *mMessagePort,
            .mounts = *mMounts,
            .messaging = *mMessaging,
            .power = *mPower,
            .predicates = *mPredicates,
            .preferenceStore = *mPreferenceStore,
            .processTable = *mProcessTable,
            .codec = *mCodec,
            .runLoop = *mRunLoop,
            .standardInput = *mStandardInput,
            .syncManager = *mSyncManager,
            .systemSettings = *mSystemSettings,
            .threads = *mThreads,
            .userFormats = *mUserFormats,
            .userNotification = *mUserNotification,
            .windows = *mWindows,
        };
    }

private:
    std::unique_ptr<platform::Application> mApplication = platform::makeApplication();
    std::unique_ptr<platform::RunLoop> mRunLoop = platform::makeRunLoop();
    std::unique_ptr<platform::PropertyListCodec> mCodec = platform::makePropertyListCodec();
    std::unique_ptr<platform::Bundles> mBundles = platform::makeBundles(*mCodec);
    std::unique_ptr<platform::DirectoryService> mDirectory = platform::makeDirectoryService(*mCodec);
    std::unique_ptr<platform::DistributedNotifications> mNotifications = platform::makeDistributedNotifications();
    std::unique_ptr<platform::EffectiveUser> mEffectiveUser = platform::makeEffectiveUser();
    std::unique_ptr<platform::EventTrace> mEventTrace = platform::makeEventTrace();
    platform::FarLink mFarLink{*mCodec};
    std::unique_ptr<platform::FileManager> mNearFileManager = platform::makeFileManager();
    std::unique_ptr<platform::FileManager> mFileManager = platform::makeFarFileManager(*mNearFileManager, mFarLink);
    std::unique_ptr<platform::FileSystem> mNearFileSystem = platform::makeFileSystem();
    std::unique_ptr<platform::FileSystem> mFileSystem = platform::makeFarFileSystem(*mNearFileSystem, mFarLink);
    std::unique_ptr<platform::HardwareRegistry> mHardware = platform::makeHardwareRegistry();
    std::unique_ptr<platform::IdentityService> mIdentity = platform::makeIdentityService();
    std::unique_ptr<platform::ProcessLauncher> mLauncher = platform::makeProcessLauncher();
    std::unique_ptr<platform::MessagePort> mMessagePort = platform::makeMessagePort();
    platform::ShareHolds mHolds;
    std::unique_ptr<platform::MountService> mMounts = platform::makeMountService(*mRunLoop, mHolds, *mFileSystem);
    std::unique_ptr<platform::DiskService> mDisks = platform::makeDiskService(mHolds, *mMessagePort, *mCodec);
    std::unique_ptr<platform::ObjectMessaging> mMessaging =
        platform::makeObjectMessaging(endWithTheBus, mRunLoop.get());
    std::unique_ptr<platform::PowerService> mPower = platform::makePowerService();
    std::unique_ptr<platform::Predicates> mPredicates = platform::makePredicates();
    std::unique_ptr<platform::PreferenceStore> mNearPreferenceStore = platform::makePreferenceStore(*mCodec);
    std::unique_ptr<platform::PreferenceStore> mPreferenceStore =
        platform::makeFarPreferenceStore(*mNearPreferenceStore, mFarLink);
    std::unique_ptr<platform::ProcessTable> mProcessTable = platform::makeProcessTable();
    std::unique_ptr<platform::StandardInput> mStandardInput = platform::makeStandardInput(*mRunLoop);
    std::unique_ptr<platform::SyncManager> mSyncManager = platform::makeSyncManager(*mRunLoop);
    std::unique_ptr<platform::SystemSettings> mSystemSettings = platform::makeSystemSettings();
    std::unique_ptr<platform::Threads> mThreads = platform::makeThreads();
    std::unique_ptr<platform::UserFormats> mUserFormats = platform::makeUserFormats();
    std::unique_ptr<platform::UserNotification> mUserNotification = platform::makeUserNotification(*mCodec);
    std::unique_ptr<platform::WindowSystem> mWindows = platform::makeWindowSystem();
};

/// Where the process's messages go: the system log and the debug log.
class Logs
{
public:
    Logs() : mFile(program(), *mHost, *mSystemLog, *mCodec)
    {
        roamer::setReportLog(mSystemLog.get());
        roamer::setLogTarget(&mFile);
    }
    ~Logs()
    {
        roamer::setLogTarget(nullptr);
        roamer::setReportLog(nullptr);
    }
    Logs(const Logs&) = delete;
    Logs& operator=(const Logs&) = delete;

private:
    roamer::FileLogTarget::Program program()
    {
        const auto bundles = platform::makeBundles(*mCodec);
        const auto bundle = bundles->bundleWithPath(platform::kCustodiaBundlePath);
        if (bundle == nullptr) return {};
        return {bundle->name(), bundle->version()};
    }

    std::unique_ptr<platform::PropertyListCodec> mCodec = platform::makePropertyListCodec();
    std::unique_ptr<platform::LogHost> mHost = platform::makeLogHost();
    std::unique_ptr<platform::SystemLog> mSystemLog = platform::makeSystemLog("roamer");
    roamer::FileLogTarget mFile;
};

} // namespace

int main(int argc, char** argv)
{
    if (argc == 2 && std::string_view(argv[1]) == platform::far::kWorkerArgument) return platform::runFarWorker();
    const auto trace = platform::makeEventTrace();
    std::unique_ptr<Logs> logs;
    std::unique_ptr<LinuxServices> linuxServices;
    std::optional<platform::EndSignals> signals; // only for a process that serves: others have nothing to clean up
    return roamer::roamerMain(
        argc, argv,
        {.trace = *trace,
         .openLogs = [&] { logs = std::make_unique<Logs>(); },
         .services =
             [&] {
                 linuxServices = std::make_unique<LinuxServices>();
                 const auto all = linuxServices->services();
                 return roamer::ServerServices{all.application, all.bundles, all.messaging, all.runLoop};
             },
         .makeFlows =
             [&](roamer::SharedState& state) {
                 signals.emplace(roamer::Pavo_StopPavo);
                 return roamer::makeAgentFlows(linuxServices->services(), state);
             }});
}
