// Uses the statistics library on behalf of a program that doesn't know it when it starts.

#include "ketstats/ketstats.h"
#include "ketstats/platform/Module.h"

#include <cstdio>
#include <memory>

namespace {

std::unique_ptr<KetStats::CKetrinStatManager> manager;

// Tells of its end.
class CToldFormat : public KetStats::CIntegerFormat
{
public:
    explicit CToldFormat(char const * list) : m_list(list) {}
    ~CToldFormat() override
    {
        std::printf("gone: %s\n", m_list);
        std::fflush(stdout);
    }

private:
    char const * m_list;
};

} // namespace

extern "C" {

__declspec(dllexport) void makeManager()
{
    manager = std::make_unique<KetStats::CKetrinStatManager>();
}

// Asks the adapter, which is the first call of the capture library.
__declspec(dllexport) void begin()
{
    manager->beginAnalyzing(nullptr);
}

// The texts of addresses are made by the capture library.
__declspec(dllexport) void text()
{
    KetStats::CMACAddressFormat().formatValue(CMACAddr(), nullptr);
}

__declspec(dllexport) void ipv6Text()
{
    KetStats::CIPv6AddressFormat().formatValue(KetStats::CIPv6Address().bytes.data(), 16, nullptr);
}

// Leaves a format in each of the host's lists, for the library to delete.
__declspec(dllexport) void leaveFormats()
{
    KetStats::CustomIntegerFormats->push_back(new CToldFormat("integer"));
    KetStats::CustomDoubleFormats->push_back(new CToldFormat("double"));
    KetStats::CustomMACFormats->push_back(new CToldFormat("MAC"));
    KetStats::CustomIPFormats->push_back(new CToldFormat("IP"));
    KetStats::CustomStringFormats->push_back(new CToldFormat("string"));
    KetStats::CustomProtocolIdFormats->push_back(new CToldFormat("protocol id"));
    KetStats::CustomIPv6Formats->push_back(new CToldFormat("IPv6"));
}

__declspec(dllexport) void end()
{
    manager.reset();
}

// What the library does when it goes.
__declspec(dllexport) void unload()
{
    KetStats::platform::unloadDelayLoaded();
}
}
