#include "server_question.h"

#include <thread>

#include "platform/linux/file_system.h"
#include "platform/linux/mount_table.h"
#include "platform/system_root.h"

namespace braid::agent
{

void ServerQuestion::ask(const std::string& networkHome, std::function<void()> answered)
{
    if (!platform::MountTable::read().farMountOf(platform::systemPath(networkHome))) return answered();
    ++*mUnanswered;
    std::thread([networkHome, post = mPost, unanswered = mUnanswered, answered = std::move(answered)] {
        platform::makeFileSystem()->reach(networkHome);
        post([unanswered, answered] {
            --*unanswered;
            answered();
        });
    }).detach();
}

} // namespace braid::agent
