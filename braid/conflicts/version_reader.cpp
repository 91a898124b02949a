#include "version_reader.h"

#include <QCoreApplication>

#include <array>
#include <cerrno>
#include <string_view>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/linux/unique_fd.h"

namespace braid::window
{

namespace
{

constexpr std::size_t kMostTextBytes = std::size_t{512} * 1024;
constexpr std::size_t kMostPictureBytes = std::size_t{48} * 1024 * 1024;

constexpr std::array<std::string_view, 7> kPictureBeginnings = {
    "\x89PNG", "\xff\xd8\xff", "GIF8", "RIFF", "BM", "II*", "MM",
};

bool beginsAsPicture(std::string_view bytes)
{
    for (const auto beginning : kPictureBeginnings) {
        if (bytes.starts_with(beginning)) return true;
    }
    return false;
}

bool isText(std::string_view bytes)
{
    std::size_t expected = 0;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        if (value == 0) return false;
        if (expected > 0) {
            if ((value & 0xc0) != 0x80) return false;
            --expected;
        } else if (value >= 0x80) {
            if ((value & 0xe0) == 0xc0)
                expected = 1;
            else if ((value & 0xf0) == 0xe0)
                expected = 2;
            else if ((value & 0xf8) == 0xf0)
                expected = 3;
            else
                return false;
        }
    }
    return expected == 0;
}

bool readAll(int file, std::string& bytes, std::size_t most)
{
    std::array<char, 65536> buffer{};
    while (bytes.size() <= most) {
        const ssize_t count = ::read(file, buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        if (count == 0) return true;
        bytes.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return true;
}

} // namespace

VersionContent readVersion(const std::string& path)
{
    using Kind = VersionContent::Kind;
    const platform::UniqueFd file(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status {
    };
    if (!file.isOpen() || ::fstat(file.get(), &status) != 0) return {Kind::Unreadable, {}};
    if (!S_ISREG(status.st_mode)) return {Kind::Other, {}};
    if (status.st_size == 0) return {Kind::Empty, {}};
    const auto size = static_cast<std::size_t>(status.st_size);
    if (size > kMostPictureBytes) return {Kind::TooLarge, {}};
    VersionContent content;
    // The beginning tells what it is.
    if (!readAll(file.get(), content.bytes, 0)) return {Kind::Unreadable, {}};
    const bool isPicture = beginsAsPicture(content.bytes);
    if (!isPicture && size > kMostTextBytes) {
        content.kind = content.bytes.find('\0') == std::string::npos ? Kind::TooLarge : Kind::Other;
        content.bytes.clear();
        return content;
    }
    if (!readAll(file.get(), content.bytes, kMostPictureBytes)) return {Kind::Unreadable, {}};
    content.kind = isPicture ? Kind::Picture : isText(content.bytes) ? Kind::Text : Kind::Other;
    if (content.kind == Kind::Other) content.bytes.clear();
    return content;
}

void VersionReader::read(const std::string& path, Came came)
{
    std::thread([path, came = std::move(came), round = std::weak_ptr<int>(mRound)] {
        auto content = readVersion(path);
        auto* application = QCoreApplication::instance();
        if (application == nullptr) return;
        QMetaObject::invokeMethod(
            application,
            [content = std::move(content), came, round] {
                if (!round.expired()) came(content);
            },
            Qt::QueuedConnection);
    }).detach();
}

} // namespace braid::window
