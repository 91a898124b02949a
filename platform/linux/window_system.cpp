#include "window_system.h"

#include "util/debug_log.h"

namespace platform
{

namespace
{

/// Counts the requests to stop, so that one that was made before a session began does not end it.
class UnseenSession final : public ModalSession
{
public:
    explicit UnseenSession(const unsigned& stopRequests) : mStopRequests(stopRequests), mAtBegin(stopRequests) {}
    bool runStep() override { return mStopRequests == mAtBegin; }

private:
    const unsigned& mStopRequests;
    const unsigned mAtBegin;
};

class WindowSystemWithoutDisplay final : public WindowSystem
{
public:
    ProgressLayout loadWindowLayout(const std::string& name, LayoutOwner&) override
    {
        roamer::DebugLog(2, "WindowSystem.loadWindowLayout: no display for layout \"%s\"", name.c_str());
        return {};
    }
    std::unique_ptr<ModalSession> beginModalSession(Window*) override
    {
        return std::make_unique<UnseenSession>(mStopRequests);
    }
    void stopModalLoop() override { ++mStopRequests; }
    bool isOptionKeyDown() override { return false; }
    bool isShiftKeyDown() override { return false; }
    void activateAgent() override {}
    void deactivateAgent() override {}
    std::vector<roamer::WindowFrame> screenFrames() override { return {}; }
    int normalWindowLevel() override { return 0; }

private:
    unsigned mStopRequests = 0;
};

} // namespace

std::unique_ptr<WindowSystem> makeWindowSystem()
{
    return std::make_unique<WindowSystemWithoutDisplay>();
}

} // namespace platform
