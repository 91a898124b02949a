#include "threads.h"

#include <system_error>
#include <thread>

namespace platform
{

namespace
{

class DetachedThreads final : public Threads
{
public:
    bool detach(std::function<void()> body) override
    {
        try {
            std::thread(std::move(body)).detach();
            return true;
        } catch (const std::system_error&) {
            return false;
        }
    }
};

} // namespace

std::unique_ptr<Threads> makeThreads()
{
    return std::make_unique<DetachedThreads>();
}

} // namespace platform
