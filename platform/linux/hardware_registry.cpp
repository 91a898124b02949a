#include "hardware_registry.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <optional>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <tuple>
#include <vector>

#include "platform/system_root.h"
#include "unique_fd.h"

namespace platform
{

namespace
{

namespace fs = std::filesystem;
using Bytes = std::array<std::uint8_t, 6>;
using Lookup = HardwareRegistry::EthernetAddress;

constexpr const char* kInterfacesFolder = "sys/class/net";
constexpr const char* kPrimaryName = "en0";
constexpr int kAssignedByMaker = 0; // NET_ADDR_PERM in <linux/netdevice.h>

std::string readText(const fs::path& path)
{
    std::ifstream file(path);
    std::string text;
    std::getline(file, text);
    return text;
}

std::optional<int> readNumber(const fs::path& path)
{
    int value = 0;
    return std::sscanf(readText(path).c_str(), "%d", &value) == 1 ? std::optional(value) : std::nullopt;
}

/// Components of a device's path compare as text where they are equally long (PCI addresses are), else the shorter one
/// is the smaller number of the two ("virtio2" before "virtio10").
struct BusOrder {
    std::vector<std::string> components;

    friend bool operator<(const BusOrder& a, const BusOrder& b)
    {
        const auto smaller = [](const std::string& x, const std::string& y) {
            return x.size() != y.size() ? x.size() < y.size() : x < y;
        };
        return std::lexicographical_compare(a.components.begin(), a.components.end(), b.components.begin(),
                                            b.components.end(), smaller);
    }
};

/// One physical Ethernet interface.
struct Interface {
    bool canBePulledOut = false;
    BusOrder busOrder;
    int port = 0; ///< Of several at one device.
    std::string name;

    friend bool operator<(const Interface& a, const Interface& b)
    {
        return std::tie(a.canBePulledOut, a.busOrder, a.port, a.name) <
               std::tie(b.canBePulledOut, b.busOrder, b.port, b.name);
    }
};

/// USB adapters come and go, but for those that are soldered in; the hub says which.
bool canBePulledOut(const fs::path& device)
{
    for (fs::path at = device; at.has_relative_path(); at = at.parent_path()) {
        if (fs::exists(at / "removable")) return readText(at / "removable") != "fixed";
    }
    return device.string().find("/usb") != std::string::npos;
}

class LinuxHardwareRegistry final : public HardwareRegistry
{
public:
    /// `root` "" is the machine itself.
    explicit LinuxHardwareRegistry(std::string root)
        : mRoot(std::move(root)), mFolder(fs::path(mRoot + "/") / kInterfacesFolder)
    {
    }

    Lookup primaryEthernetAddress() override
    {
        if (fs::exists(mFolder / kPrimaryName)) {
            const auto bytes = permanentAddress(kPrimaryName);
            return bytes ? Lookup{0, *bytes} : noAddress(kPrimaryName);
        }
        std::error_code problem;
        std::vector<Interface> interfaces;
        for (fs::directory_iterator entry(mFolder, problem), end; !problem && entry != end; entry.increment(problem)) {
            if (auto found = physicalEthernet(entry->path())) interfaces.push_back(std::move(*found));
        }
        if (problem) {
            std::printf("cannot list %s: %d\n", mFolder.c_str(), problem.value());
            return {problem.value(), {}};
        }
        std::sort(interfaces.begin(), interfaces.end());
        for (const auto& interface : interfaces) {
            if (const auto bytes = permanentAddress(interface.name)) return {0, *bytes};
            noAddress(interface.name);
        }
        std::printf("no built-in ethernet interface in %s\n", mFolder.c_str());
        return {kNoEthernetInterface, {}};
    }

private:
    static Lookup noAddress(const std::string& name)
    {
        std::printf("the interface %s has no permanent address\n", name.c_str());
        return {ENODATA, {}};
    }

    static std::optional<Interface> physicalEthernet(const fs::path& path)
    {
        std::error_code none;
        const fs::path device = fs::canonical(path / "device", none); // virtual interfaces have no device
        if (none || readNumber(path / "type") != ARPHRD_ETHER) return std::nullopt;
        Interface found{canBePulledOut(device), {}, readNumber(path / "dev_port").value_or(0), path.filename()};
        for (const auto& component : device)
            found.busOrder.components.push_back(component);
        return found;
    }

    std::optional<Bytes> permanentAddress(const std::string& name) const
    {
        if (mRoot.empty()) {
            if (const auto bytes = askDriver(name)) return bytes;
        }
        // The address in use is the permanent one where nobody has set another.
        if (readNumber(mFolder / name / "addr_assign_type") != kAssignedByMaker) return std::nullopt;
        Bytes bytes{};
        int end = 0;
        const std::string text = readText(mFolder / name / "address");
        const int count = std::sscanf(text.c_str(), "%2hhx:%2hhx:%2hhx:%2hhx:%2hhx:%2hhx%n", &bytes[0], &bytes[1],
                                      &bytes[2], &bytes[3], &bytes[4], &bytes[5], &end);
        return count == 6 && static_cast<std::size_t>(end) == text.size() ? meaningful(bytes) : std::nullopt;
    }

    static std::optional<Bytes> askDriver(const std::string& name)
    {
        const UniqueFd any(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        if (!any.isOpen() || name.size() >= IFNAMSIZ) return std::nullopt;
        // The kernel writes the address behind the head.
        alignas(ethtool_perm_addr) std::array<std::uint8_t, sizeof(ethtool_perm_addr) + sizeof(Bytes)> answer{};
        const ethtool_perm_addr question{ETHTOOL_GPERMADDR, sizeof(Bytes)};
        std::memcpy(answer.data(), &question, sizeof question);
        ifreq request{};
        std::memcpy(static_cast<char*>(request.ifr_name), name.data(), name.size());
        request.ifr_data = reinterpret_cast<char*>(answer.data());
        if (ioctl(any.get(), SIOCETHTOOL, &request) != 0) return std::nullopt;
        Bytes bytes{};
        std::copy_n(answer.begin() + sizeof(ethtool_perm_addr), bytes.size(), bytes.begin());
        return meaningful(bytes);
    }

    static std::optional<Bytes> meaningful(const Bytes& bytes)
    {
        return bytes != Bytes{} ? std::optional(bytes) : std::nullopt;
    }

    std::string mRoot;
    fs::path mFolder;
};

} // namespace

std::unique_ptr<HardwareRegistry> makeHardwareRegistry()
{
    const std::string root = developmentRoot();
    std::error_code none;
    return makeHardwareRegistry(fs::is_directory(fs::path(root) / kInterfacesFolder, none) ? root : "");
}

std::unique_ptr<HardwareRegistry> makeHardwareRegistry(const std::string& root)
{
    return std::make_unique<LinuxHardwareRegistry>(root);
}

} // namespace platform
