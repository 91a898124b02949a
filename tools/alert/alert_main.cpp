#include "alert_main.h"

#include <QApplication>
#include <QTimer>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <poll.h>
#include <unistd.h>

#include "alert_window.h"
#include "platform/linux/property_list_codec.h"
#include "tools/windows/display.h"
#include "tools/windows/look.h"

namespace windows
{

namespace
{

constexpr std::size_t kLongestRequestBytes = std::size_t{1} << 20;
constexpr int kLookForReaderMilliseconds = 1000;

int failed(const std::string& why)
{
    std::fprintf(stderr, "roamer-alert: %s\n", why.c_str());
    return 1;
}

/// Everything up to the end of the standard input. What is too long is cut off and no property list any more.
std::vector<std::byte> readRequest()
{
    std::vector<std::byte> bytes;
    std::array<std::byte, 4096> buffer{};
    while (bytes.size() < kLongestRequestBytes) {
        const auto got = ::read(STDIN_FILENO, buffer.data(), buffer.size());
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        bytes.insert(bytes.end(), buffer.begin(), buffer.begin() + got);
    }
    return bytes;
}

bool writeAnswer(const std::vector<std::byte>& answer)
{
    for (std::size_t done = 0; done < answer.size();) {
        const auto written = ::write(STDOUT_FILENO, answer.data() + done, answer.size() - done);
        if (written < 0 && errno != EINTR) return false;
        if (written > 0) done += static_cast<std::size_t>(written);
    }
    return true;
}

/// Whether the one who asked is gone: nobody reads the other end of the pipe.
bool nobodyWantsTheAnswer()
{
    pollfd output{STDOUT_FILENO, 0, 0};
    return ::poll(&output, 1, 0) > 0 && (output.revents & (POLLERR | POLLNVAL)) != 0;
}

} // namespace

int alertMain(int argc, char** argv, const std::function<void(QWidget&)>& prepare)
{
    if (!becomeEffectiveUser() || !findDisplay()) return failed("there is no display to draw on");
    std::signal(SIGPIPE, SIG_IGN);
    const auto codec = platform::makePropertyListCodec();
    const auto parsed = codec->parse(readRequest());
    if (const auto* error = std::get_if<platform::PropertyListCodec::Error>(&parsed)) return failed(error->text);
    const auto request = readAlertRequest(std::get<roamer::PropertyList>(parsed));
    if (const auto* problem = std::get_if<std::string>(&request)) return failed(*problem);

    QApplication application(argc, argv);
    displayIsUp();
    QApplication::setApplicationName(QStringLiteral("roamer"));
    adoptDesktopLook(application);
    AlertWindow alert(std::get<AlertRequest>(request));
    QObject::connect(&alert, &QDialog::finished, &application, &QApplication::quit);
    QTimer lookForReader;
    QObject::connect(&lookForReader, &QTimer::timeout, &application, [] {
        if (nobodyWantsTheAnswer()) QApplication::exit(1);
    });
    lookForReader.start(kLookForReaderMilliseconds);
    if (prepare) prepare(alert);
    alert.present();
    if (const int status = QApplication::exec()) return status;

    const auto answer =
        codec->serialise(alertAnswer(alert.choice(), alert.checked()), platform::PropertyListCodec::Format::Xml);
    const auto* bytes = std::get_if<roamer::Data>(&answer);
    return bytes != nullptr && writeAnswer(*bytes) ? 0 : failed("the answer cannot be written");
}

} // namespace windows
