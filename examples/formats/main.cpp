// Shows two statistics in every format that there is for them, with formats of the host's own among them.

#include "ketstats/ketstats.h"

#include <cstdio>
#include <map>
#include <string>

namespace {

using Services = std::map<long long, std::string>;

// A port by the name of its service, out of a table that the host hands over with every value.
class CServiceFormat : public KetStats::CIntegerStatFormatBase
{
public:
    CServiceFormat() : CIntegerStatFormatBase("Service") {}

    using CIntegerStatFormatBase::formatValue;
    std::string formatValue(long long port, void * context) const override
    {
        auto const & services = *static_cast<Services const *>(context);
        auto const found = services.find(port);
        return found == services.end() ? std::to_string(port) : found->second;
    }
};

void show(KetStats::CBaseStat const & stat, void * context)
{
    KetStats::CStatDescription const & description = *stat.getDescription();
    for (unsigned int i = 0; i < description.getFormatCount(); ++i)
        std::printf("%s: %s\n", description.getFormat(i)->getName().c_str(),
                    description.formatValue(&stat, i, context).c_str());
}

} // namespace

int main()
{
    // Bytes in powers of 1000. The list owns the format from here on.
    auto * const megabytes = new KetStats::CIntegerFormat;
    megabytes->setMultiplier(&KetStats::mMega);
    megabytes->setFractionDigits(1);
    KetStats::CustomIntegerFormats->push_back(megabytes);
    KetStats::CustomProtocolIdFormats->push_back(new CServiceFormat);

    unsigned char const http[] = {0, 80};
    CProtocolId port;
    port.Set(sizeof http, http);
    KetStats::CTcpPortStat row(nullptr, 1, port);
    row.dataTransmitted = 1536000;

    Services services = {{80, "http"}};
    show(row.dataTransmitted, nullptr); // "Integer value: 1536000" ... and last "Integer value: 1.5 M"
    show(row.port, &services);          // "Integer hex value: 0x50" ... and last "Service: http"
}
