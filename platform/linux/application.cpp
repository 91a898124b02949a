#include "application.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <clocale>
#include <cstdio>
#include <unistd.h>
#include <vector>

#include "bus_connection.h"

namespace platform
{

namespace
{

class QtApplication final : public Application
{
public:
    QtApplication() : mApplication(mArgumentCount, mArguments)
    {
        // The application object switches the whole process to the person's locale. Numbers in the log are for programs
        // too and keep their point; people get theirs through UserFormats.
        std::setlocale(LC_NUMERIC, "C");
    }

    void setDelegate(ApplicationDelegate* delegate) override { mDelegate = delegate; }

    void run() override
    {
        // Not the application's own loop: ending that one would also end the slices that flows are waiting in.
        QEventLoop loop;
        mLoops.push_back(&loop);
        loop.exec();
        mLoops.pop_back();
    }

    void stop() override
    {
        if (!mLoops.empty()) mLoops.back()->quit();
    }

    void terminate() override
    {
        if (mDelegate != nullptr) {
            if (!mDelegate->applicationShouldTerminate()) return;
            mDelegate->applicationWillTerminate();
        }
        BusConnection::flushAll();
        std::fflush(nullptr);
        // No destructors: this may run deep inside a flow, and a worker thread may still be at work.
        ::_exit(0);
    }

private:
    int mArgumentCount = 1;
    char mProgramName[7] = "roamer";
    char* mArguments[2] = {mProgramName, nullptr};
    QCoreApplication mApplication;
    ApplicationDelegate* mDelegate = nullptr;
    std::vector<QEventLoop*> mLoops;
};

} // namespace

std::unique_ptr<Application> makeApplication()
{
    return std::make_unique<QtApplication>();
}

} // namespace platform
