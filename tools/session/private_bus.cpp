#include "private_bus.h"

#include <cctype>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <unistd.h>

namespace roamer::session
{

namespace
{

using platform::UniqueFd;

constexpr const char* kDaemon = "/usr/bin/dbus-daemon";
constexpr int kStartMilliseconds = 10000;
// The places of what start() passes on.
constexpr int kConfigurationDescriptor = 3;
constexpr int kAddressDescriptor = 4;

std::string escaped(const std::string& path)
{
    std::string result;
    for (const char c : path) {
        const std::string_view harmless = "-_/.";
        if (std::isalnum(static_cast<unsigned char>(c)) != 0 || harmless.find(c) != std::string_view::npos) {
            result += c;
        } else {
            constexpr const char* kDigits = "0123456789abcdef";
            const auto byte = static_cast<unsigned char>(c);
            result += {'%', kDigits[byte >> 4U], kDigits[byte & 15U]};
        }
    }
    return result;
}

std::string configuration(const std::string& folder)
{
    return "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\" "
           "\"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
           "<busconfig><type>session</type><keep_umask/><listen>unix:dir=" +
           escaped(folder) +
           "</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow send_destination=\"*\" "
           "eavesdrop=\"true\"/>"
           "<allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>\n";
}

/// A file without a name: there is no moment at which somebody else could change it.
UniqueFd configurationFile(const std::string& text)
{
    UniqueFd file(::memfd_create("roamer-session bus", MFD_CLOEXEC));
    const auto size = static_cast<ssize_t>(text.size());
    if (!file.isOpen() || ::write(file.get(), text.data(), text.size()) != size) return {};
    return file;
}

/// The line that the daemon prints once it listens; "" when it ends first or takes too long.
std::string readAddress(const UniqueFd& descriptor)
{
    std::string text;
    char buffer[512];
    pollfd question{descriptor.get(), POLLIN, 0};
    while (::poll(&question, 1, kStartMilliseconds) > 0) {
        const ssize_t got = ::read(descriptor.get(), buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        text.append(buffer, static_cast<std::size_t>(got));
        if (const auto end = text.find('\n'); end != std::string::npos) return text.substr(0, end);
    }
    return "";
}

} // namespace

std::variant<PrivateBus, std::string> PrivateBus::start(const platform::UserEntry& user, const std::string& folder)
{
    const UniqueFd file = configurationFile(configuration(folder));
    int ends[2];
    if (!file.isOpen() || ::pipe2(ends, O_CLOEXEC) != 0) {
        return std::string("the message bus could not be prepared: ") + std::strerror(errno);
    }
    const UniqueFd reading(ends[0]);
    UniqueFd writing(ends[1]);
    UserProcess::Program program{
        .path = kDaemon,
        .arguments = {"--config-file=/proc/self/fd/" + std::to_string(kConfigurationDescriptor), "--nofork",
                      "--nopidfile", "--print-address=" + std::to_string(kAddressDescriptor)},
        .environment = environmentFor(user, ""),
        .passedOn = {file.get(), writing.get()},
        .endsWithParent = true,
    };
    auto started = UserProcess::start(user, program);
    if (auto* problem = std::get_if<std::string>(&started)) return std::move(*problem);
    writing = UniqueFd();
    auto address = readAddress(reading);
    if (address.empty()) return "the message bus ended before it was ready";
    return PrivateBus(std::move(std::get<UserProcess>(started)), std::move(address));
}

} // namespace roamer::session
