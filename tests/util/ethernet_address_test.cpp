#include <gtest/gtest.h>

#include "platform/linux/hardware_registry.h"
#include "tests/fakes/recording_log.h"
#include "tests/fakes/small_services.h"
#include "tests/fakes/temp_root.h"
#include "util/ethernet_address.h"

namespace
{

namespace fs = std::filesystem;
using namespace roamer;

TEST(EthernetAddress, IsLookedUpOnceAndNeverChanges)
{
    fakes::RecordingLog log;
    fakes::FakeHardwareRegistry hardware;
    EthernetAddress address(hardware);
    EXPECT_EQ(address.AmruEthernetAddress(), "00:1b:63:0a:ff:02");
    hardware.answer = {platform::kNoEthernetInterface, {}};
    EXPECT_EQ(address.AmruEthernetAddress(), "00:1b:63:0a:ff:02");
    EthernetAddress none(hardware);
    EXPECT_EQ(none.AmruEthernetAddress(), "11:11:11:11:11:11");
    EXPECT_EQ(log.countContaining("AmruEthernetAddress(): GetEthernetAddress()== 5"), 1);
}

/// Describes an interface below the root. `device` "" makes a virtual one.
void addInterface(const fakes::TempRoot& root, const std::string& name, const std::string& device, unsigned lastByte,
                  int assignment = 0, int type = 1)
{
    const auto folder = root.real("/sys/class/net/" + name);
    std::string address = "02:00:00:00:00:";
    address += "0123456789abcdef"[lastByte / 16];
    address += "0123456789abcdef"[lastByte % 16];
    fakes::TempRoot::writeFile(folder / "address", address + "\n");
    fakes::TempRoot::writeFile(folder / "addr_assign_type", std::to_string(assignment) + "\n");
    fakes::TempRoot::writeFile(folder / "type", std::to_string(type) + "\n");
    if (device.empty()) return;
    fs::create_directories(root.real("/sys/devices/" + device));
    fs::create_directory_symlink(root.real("/sys/devices/" + device), folder / "device");
}

TEST(EthernetAddress, ThePrimaryInterfaceIsTheFirstThatIsBuiltIn)
{
    fakes::TempRoot root;
    const auto lastByte = [] {
        const auto found = platform::makeHardwareRegistry()->primaryEthernetAddress();
        return found.status == 0 ? int{found.bytes[5]} : -found.status;
    };
    fs::create_directories(root.real("/sys/class/net"));
    addInterface(root, "lo", "", 1, 0, 772);
    addInterface(root, "br0", "", 2, 0);
    EXPECT_EQ(lastByte(), -platform::kNoEthernetInterface);
    addInterface(root, "usb0", "pci0000:00/0000:00:02.0/usb1/1-1/1-1:1.0", 3);
    EXPECT_EQ(lastByte(), 3) << "better than none";
    addInterface(root, "a0", "pci0000:00/0000:00:1c.0/0000:0a:00.0", 4);
    EXPECT_EQ(lastByte(), 4) << "built in";
    addInterface(root, "z0", "pci0000:00/0000:00:03.0/virtio10", 5);
    EXPECT_EQ(lastByte(), 5) << "first on the bus, whatever its name";
    addInterface(root, "y0", "pci0000:00/0000:00:03.0/virtio9", 6);
    EXPECT_EQ(lastByte(), 6);
    addInterface(root, "x0", "pci0000:00/0000:00:03.0/virtio2", 7, 1);
    EXPECT_EQ(lastByte(), 6) << "a random address is none";
    addInterface(root, "en0", "", 0xab);
    EXPECT_EQ(lastByte(), 0xab);
    fakes::TempRoot::writeFile(root.real("/sys/class/net/en0/addr_assign_type"), "3\n");
    EXPECT_LT(lastByte(), 0);
}

} // namespace
