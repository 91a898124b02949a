#include "login_passwords.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <string>

#include <linux/keyctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/system_root.h"

namespace lobby
{

namespace
{

constexpr const char* kKeyType = "user";
// The owner may do what the possessor may: a service has a session keyring of its own, which does not lead here.
constexpr unsigned kPermissions = 0x3f3f0000;

/// One for each system root too, so that a test's are nobody else's.
std::string description(uid_t user)
{
    return "com.kestrel.lobby:" + std::to_string(user) + ":" + platform::systemPath("/Volumes");
}

long findKey(uid_t user)
{
    return ::syscall(SYS_keyctl, KEYCTL_SEARCH, KEY_SPEC_USER_KEYRING, kKeyType, description(user).c_str(), 0);
}

} // namespace

int LoginPasswords::keep(uid_t user, const Secret& password)
{
    // Only who possesses a key may say what its owner may do with it, and a service does not possess what lies in the
    // user's keyring: the key is made in the thread's own. Linked, it takes the place of an earlier one.
    const auto text = password.view();
    const long key =
        ::syscall(SYS_add_key, kKeyType, description(user).c_str(), text.data(), text.size(), KEY_SPEC_THREAD_KEYRING);
    if (key < 0) return errno;
    const bool isKept = ::syscall(SYS_keyctl, KEYCTL_SETPERM, key, kPermissions) >= 0 &&
                        ::syscall(SYS_keyctl, KEYCTL_LINK, key, KEY_SPEC_USER_KEYRING) >= 0;
    const int error = isKept ? 0 : errno;
    ::syscall(SYS_keyctl, KEYCTL_UNLINK, key, KEY_SPEC_THREAD_KEYRING);
    return error;
}

std::optional<Secret> LoginPasswords::find(uid_t user)
{
    const long key = findKey(user);
    if (key < 0) return std::nullopt;
    std::array<char, Secret::kCapacity> text{};
    const long length = ::syscall(SYS_keyctl, KEYCTL_READ, key, text.data(), text.size());
    std::optional<Secret> found;
    if (length > 0 && length <= static_cast<long>(text.size())) {
        found.emplace(std::string_view(text.data(), static_cast<std::size_t>(length)));
    }
    ::explicit_bzero(text.data(), text.size());
    return found;
}

int LoginPasswords::drop(uid_t user)
{
    const long key = findKey(user);
    if (key < 0) return errno == ENOKEY ? 0 : errno;
    // Revoked first: what may still refer to the key gets nothing from it any more.
    ::syscall(SYS_keyctl, KEYCTL_REVOKE, key);
    return ::syscall(SYS_keyctl, KEYCTL_UNLINK, key, KEY_SPEC_USER_KEYRING) < 0 ? errno : 0;
}

} // namespace lobby
