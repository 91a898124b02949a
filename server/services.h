#pragma once

#include "platform/application.h"
#include "platform/bundle.h"
#include "platform/directory_service.h"
#include "platform/disk_service.h"
#include "platform/distributed_notifications.h"
#include "platform/effective_user.h"
#include "platform/event_trace.h"
#include "platform/file_manager.h"
#include "platform/file_system.h"
#include "platform/hardware_registry.h"
#include "platform/identity_service.h"
#include "platform/message_port.h"
#include "platform/mount_service.h"
#include "platform/object_messaging.h"
#include "platform/power_service.h"
#include "platform/predicates.h"
#include "platform/preference_store.h"
#include "platform/process_launcher.h"
#include "platform/process_table.h"
#include "platform/property_list_codec.h"
#include "platform/run_loop.h"
#include "platform/standard_input.h"
#include "platform/sync_engine.h"
#include "platform/system_settings.h"
#include "platform/threads.h"
#include "platform/user_formats.h"
#include "platform/user_notification.h"
#include "platform/window_system.h"

namespace roamer
{

/// Every service of the platform that the agent works with. Borrowed; they outlive the server object.
struct Services {
    platform::Application& application;
    platform::Bundles& bundles;
    platform::DirectoryService& directory;
    platform::DiskService& disks;
    platform::DistributedNotifications& notifications;
    platform::EffectiveUser& effectiveUser;
    platform::EventTrace& eventTrace;
    platform::FileManager& fileManager;
    platform::FileSystem& fileSystem;
    platform::HardwareRegistry& hardware;
    platform::IdentityService& identity;
    platform::ProcessLauncher& launcher;
    platform::MessagePort& messagePort;
    platform::MountService& mounts;
    platform::ObjectMessaging& messaging;
    platform::PowerService& power;
    platform::Predicates& predicates;
    platform::PreferenceStore& preferenceStore;
    platform::ProcessTable& processTable;
    platform::PropertyListCodec& codec;
    platform::RunLoop& runLoop;
    platform::StandardInput& standardInput;
    platform::SyncManager& syncManager;
    platform::SystemSettings& systemSettings;
    platform::Threads& threads;
    platform::UserFormats& userFormats;
    platform::UserNotification& userNotification;
    platform::WindowSystem& windows;
};

/// The four that the server object and the run modes themselves work with.
struct ServerServices {
    platform::Application& application;
    platform::Bundles& bundles;
    platform::ObjectMessaging& messaging;
    platform::RunLoop& runLoop;
};

} // namespace roamer
