#include "ethernet_address.h"

#include "format_text.h"
#include "report.h"

namespace roamer
{

namespace
{

constexpr const char* kFallbackAddress = "11:11:11:11:11:11";

} // namespace

EthernetAddress::EthernetAddress(platform::HardwareRegistry& hardware) : mHardware(hardware) {}

std::string EthernetAddress::AmruEthernetAddress()
{
    if (mAddress) return *mAddress;
    std::string text = kFallbackAddress;
    const long status = GetEthernetAddress(text);
    if (status != 0) report(formatText("AmruEthernetAddress(): GetEthernetAddress()== %ld", status));
    return mAddress.emplace(text);
}

int EthernetAddress::GetEthernetAddress(std::string& text)
{
    const auto address = mHardware.primaryEthernetAddress();
    if (address.status != 0) return address.status;
    std::string digits;
    for (const unsigned byte : address.bytes)
        digits += formatText("%2.2x:", byte);
    digits.pop_back();
    text = digits;
    return 0;
}

} // namespace roamer
