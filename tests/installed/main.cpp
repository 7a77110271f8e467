// What passes from module to module: exceptions in both directions, and classes that are told apart at run
// time. Ends with 1, and the names of those that failed, if a check doesn't hold.

#include "Check.h"

#include "ketstats/ketstats.h"

#include <cstdio>
#include <exception>
#include <memory>
#include <typeinfo>

using namespace KetStats;

static int failures = 0;

void check(bool holds, char const * name)
{
    if (!holds) {
        ++failures;
        std::printf("failed: %s\n", name);
    }
}

namespace {

// Whether the operation throws a pointer that a handler for E takes.
template <class E, class Operation>
bool raises(Operation && operation)
{
    try {
        try {
            operation();
        } catch (E * raised) {
            std::unique_ptr<E> const owned(raised);
            return owned->flag;
        }
    } catch (ktools::CException * raised) {
        delete raised;
    }
    return false;
}

void parseDamaged()
{
    COid const damaged("1..2");
}

void unpackNothing()
{
    CStatSnapshot snapshot;
    ktools::CMemoryBuffer cut("\x01", 1);
    snapshot.unpack(cut);
}

void readAbsent()
{
    CAgentStatistic tree;
    static_cast<void>(tree[CAgentStatistic::CStatPointer{}]);
}

void exceptionsOfTheLibrary()
{
    check(raises<COid::CException>(&parseDamaged), "exception of a class of the library");
    check(raises<ktools::CException>(&parseDamaged), "exception by its base");
    check(!raises<CAgentStatistic::CException>(&parseDamaged), "exception of another class passes by");
    check(raises<ktools::CMemoryBuffer::CException>(&unpackNothing), "exception of a class of headers");
    check(raises<CAgentStatistic::CException>(&readAbsent), "exception of the tree");
    check(raises<COid::CException>([] {
              try {
                  parseDamaged();
              } catch (ktools::CException *) {
                  throw;
              }
          }),
          "exception thrown again");
}

struct UncaughtCounter
{
    explicit UncaughtCounter(int & theCount) : count(theCount) {}
    ~UncaughtCounter() { count = std::uncaught_exceptions(); }
    int & count;
};

void exceptionsUnderWay()
{
    int count = 0;
    try {
        UncaughtCounter const counter(count);
        parseDamaged();
    } catch (ktools::CException * raised) {
        delete raised;
    }
    check(count == 1, "exception under way is counted");
    check(std::uncaught_exceptions() == 0, "caught exception isn't");
}

// Fails in the middle of both libraries.
class FailingAdapter : public CNdisHook
{
public:
    long GetLinkSpeed() override { ktools::raise<Failure>(1, "main", __LINE__); }

    class Failure : public ktools::CException
    {
    public:
        using ktools::CException::CException;
    };
};

void exceptionThroughTheLibraries()
{
    CKetrinStatManager manager;
    FailingAdapter adapter;
    check(raises<FailingAdapter::Failure>([&] { manager.beginAnalyzing(&adapter); }),
          "exception of the host through both libraries");
    // The gate that was held then is open again.
    manager.endAnalyzing();
    check(manager.beginAnalyzing(nullptr), "manager works on");
}

void classesAtRunTime()
{
    CKetrinStatManager manager;
    CBaseStat const & frames = manager.getAgentStatistic().globalStatistics.transmittedFrames;
    CStatDescription const & description = *frames.getDescription();

    check(dynamic_cast<CValueStat<unsigned int> const *>(&frames), "counter is one");
    check(!dynamic_cast<CValueStat<long long> const *>(&frames), "counter isn't a sum");
    check(typeid(frames) == typeid(CValueStat<unsigned int>), "class of a counter");
    check(dynamic_cast<CStationStat::Container const *>(manager.getAgentStatistic().getChildById(5)),
          "table of stations is one");
    check(dynamic_cast<CIntegerStatDescription<unsigned int> const *>(&description), "integer description");
    check(!dynamic_cast<CStringStatDescription const *>(&description), "no text description");
    check(description.getStringDescription() == "Global transmitted frames", "name of a counter");

    CNetworkFrame frame("", 0, 0);
    check(dynamic_cast<CEthernetInfo *>(frame.AnalyzeFrame()), "analysis is that of Ethernet");
}

// What a host makes for itself of the library's templates.
void templates()
{
    CValueStat<unsigned int> counter;
    counter = 3;
    counter.add(2);
    check(counter.get() == 5, "counter of the host");

    CAgentStatistic tree;
    CMACAddrPacked const address;
    CStationStat * const station = tree.stations[address];
    check(station && tree.stations.find(address) == station && tree.stations.size() == 1, "row of a table");
    CBaseStat const & row = *station;
    check(typeid(row) == typeid(CStationStat), "class of a row");
    check(row.getDescription() == &CStationStat::groupDescription(), "one description for all modules");
}

// A format of the host's, in a list of the library's, which deletes it.
class ServiceFormat : public CIntegerStatFormatBase
{
public:
    explicit ServiceFormat(int & theDeleted) : CIntegerStatFormatBase("Service"), deleted(theDeleted) {}
    ~ServiceFormat() override { ++deleted; }

    using CIntegerStatFormatBase::formatValue;
    std::string formatValue(long long value, void *) const override
    {
        return value == 80 ? "http" : CStatFormatBase::formatValue(value, nullptr);
    }

    int & deleted;
};

void exportedData()
{
    check(multipliers[0] == &mKiloCS && multipliers[11] == &mExa && !multipliers[12], "multipliers");
    check(mExaCS.value == 1LL << 60 && mKilo.abbrev == "k", "values of multipliers");
    check(StandardIntegerFormats->size() == 7 && StandardDoubleFormats->size() == 7 &&
              StandardProtocolIdFormats->size() == 3 && StandardMACFormats->size() == 1 &&
              StandardIPFormats->size() == 1 && StandardStringFormats->size() == 1,
          "standard lists");
    check(CustomIntegerFormats->size() + CustomDoubleFormats->size() + CustomMACFormats->size() +
                  CustomIPFormats->size() + CustomStringFormats->size() + CustomProtocolIdFormats->size() ==
              0,
          "custom lists");
    check((*StandardIntegerFormats)[1].getMultiplier() == &mKiloCS, "multiplier of a standard format");
    check((*StandardIntegerFormats)[1].formatValue(1536LL, nullptr) == "1.50 K", "text of a format");
    check(dynamic_cast<CIntegerFormat const *>(&(*StandardIntegerFormats)[1]), "class of a format");
}

void formatsOfTheHost()
{
    int deleted = 0;
    unsigned char const bytes[] = {0, 80};
    CProtocolIdPacked key;
    key.Set(2, bytes);
    CTcpPortStat const row(nullptr, 1, key);
    CStatDescription const & port = *row.port.getDescription();

    CustomProtocolIdFormats->push_back(new ServiceFormat(deleted));
    check(port.getFormatCount() == 4, "format of the host is offered");
    check(port.formatValue(&row.port, 3, nullptr) == "http", "format of the host");
    check(port.formatValue(&row.port, 0, nullptr) == "0x50", "format of the library");
    check(port.getFormat(3)->formatValue(1.5, nullptr) == "Invalid format for this statistic", "error text");
    CustomProtocolIdFormats->clear();
    check(deleted == 1, "format of the host is deleted once");
}

void filters()
{
    CMACAddr address;
    LoadHexString("00-11-22-AA-BB-CC", address.bytes.data(), 6);
    CStationStat const station(nullptr, 1, CMACAddrPacked(address));
    std::unique_ptr<CFilter> const filter(buildFilter(&station));
    check(dynamic_cast<CCompoundFilter *>(filter.get()), "class of a filter");
    check(filter->GetDescription() == "ether src 00:11:22:aa:bb:cc or ether dst 00:11:22:aa:bb:cc",
          "filter of a row");

    unsigned char const bytes[14] = {0, 0, 0, 0, 0, 1, 0x00, 0x11, 0x22, 0xAA, 0xBB, 0xCC, 8, 0};
    CNetworkFrame const frame(bytes, sizeof bytes, sizeof bytes);
    check(filter->IsSatisfied(&frame), "frame that passes");

    ktools::CMemoryBuffer packed;
    filter->Pack(packed);
    std::unique_ptr<CFilter> const copy(CFilter::UnpackNew(packed));
    check(copy->GetDescription() == filter->GetDescription(), "filter that was packed");
    check(raises<ktools::CMemoryBuffer::CException>([&] { delete CFilter::UnpackNew(packed); }),
          "exception of the capture layer");

    CIPPortFilter const port(80, CIPPortFilter::ptTCP, eoEqual, "web", false);
    CProtocolFilter const arp("ARP", false);
    CIPSubprotocolFilter const icmp(1, "", false);
    CIPAddrFilter const host(0x0100007F, CIPAddrFilter::apSource, eoEqual, "", false);
    CDstMACFilter const to("00-00-00-00-00-01", "", false);
    CSrcMACFilter from("", false);
    from.address = address;
    CFrame const & seen = frame;
    check(from.IsSatisfied(&seen) && dynamic_cast<CNetworkFrame const *>(&seen), "filter of a source");
    check(port.GetDescription() == "web" && arp.GetDescription() == "ARP", "descriptions that were given");
    check(!icmp.IsSatisfied(&frame) && !host.IsSatisfied(&frame) && to.IsSatisfied(&frame),
          "filters of fields");

    CIPv6AddrFilter const nobody({}, CIPv6AddrFilter::apSource, eoEqual, "", false);
    CIPv6ProtocolFilter const tcp(6, "", false);
    CIPv6PortFilter const web(443, CIPPortFilter::ptTCP, eoEqual, "", false);
    CVlanFilter const vlan(5, CVlanFilter::vtOuter, "", false);
    check(!nobody.IsSatisfied(&frame) && !tcp.IsSatisfied(&frame) && !web.IsSatisfied(&frame) &&
              vlan.GetDescription() == "vlan 5",
          "filters of IPv6 and VLANs");
}

} // namespace

int main()
{
    everyClass();
    exportedData();
    formatsOfTheHost();
    filters();
    exceptionsOfTheLibrary();
    exceptionsUnderWay();
    exceptionThroughTheLibraries();
    classesAtRunTime();
    templates();
    secondTree();
    std::puts(failures == 0 ? "all checks hold" : "some checks failed");
    return failures == 0 ? 0 : 1;
}
