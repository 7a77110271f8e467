// What passes from module to module: exceptions in both directions, and classes that are told apart at run
// time. Ends with 1, and the names of those that failed, if a check doesn't hold.

#include "ketstats/ketstats.h"

#include <cstdio>
#include <exception>
#include <memory>
#include <typeinfo>

using namespace KetStats;

namespace {

int failures = 0;

void check(bool holds, char const * name)
{
    if (!holds) {
        ++failures;
        std::printf("failed: %s\n", name);
    }
}

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

} // namespace

int main()
{
    exceptionsOfTheLibrary();
    exceptionsUnderWay();
    exceptionThroughTheLibraries();
    classesAtRunTime();
    templates();
    std::puts(failures == 0 ? "all checks hold" : "some checks failed");
    return failures == 0 ? 0 : 1;
}
