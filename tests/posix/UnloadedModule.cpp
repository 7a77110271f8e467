// A module of a host as it is loaded at run time: it uses the library, puts formats of its own into the
// custom lists, and goes again together with the library.

#include "tests/posix/UnloadedModule.h"

#include "ketstats/ketstats.h"

#include <string>

using namespace KetStats;
using unloading::Report;

namespace {

Report * report = nullptr;

void expect(bool holds, char const * what, int line)
{
    if (!holds)
        report->failed(what, line);
}

#define EXPECT(CONDITION) expect((CONDITION), #CONDITION, __LINE__)

class CHostFormat : public CIntegerFormat
{
public:
    using CIntegerFormat::formatValue;
    std::string formatValue(long long value, void * context) const override
    {
        return "host " + CIntegerFormat::formatValue(value, context);
    }
    ~CHostFormat() override { ++report->formatsDeleted; }
};

CStatFormatContainerBase * const * const customLists[] = {
    &CustomIntegerFormats, &CustomDoubleFormats,     &CustomMACFormats,  &CustomIPFormats,
    &CustomStringFormats,  &CustomProtocolIdFormats, &CustomIPv6Formats,
};

void nothingWasFetchedAtLoad()
{
    CStringResources const & resources = CStringResources::instance();
    EXPECT(resources.module != nullptr);
    EXPECT(resources.current == 0);
    for (std::string const & text : resources.ring)
        EXPECT(text.empty());
}

void multipliersStoodBeforeTheLists()
{
    long long binary = 1;
    long long decimal = 1;
    for (unsigned int i = 0; i < multiplierCount; i += 2) {
        EXPECT(multipliers[i]->value == (binary *= 1024));
        EXPECT(multipliers[i + 1]->value == (decimal *= 1000));
    }
    for (CStatFormatContainerBase const * const list : {StandardIntegerFormats, StandardDoubleFormats}) {
        EXPECT(list->size() == 1 + multiplierCount / 2);
        EXPECT((*list)[0].getMultiplier() == nullptr);
        for (unsigned int i = 1; i < list->size(); ++i)
            EXPECT((*list)[i].getMultiplier() == multipliers[2 * (i - 1)]);
    }
}

void listsWork()
{
    EXPECT((*StandardIntegerFormats)[1].formatValue(1536LL, nullptr) == "1.50 K");
    EXPECT((*StandardDoubleFormats)[6].formatValue(0.0, nullptr) == "0.00 E");
    EXPECT((*StandardMACFormats)[0].formatValue(CMACAddr(), nullptr) == "00-00-00-00-00-00");
    EXPECT((*StandardIPFormats)[0].formatValue(0x0100007FLL, nullptr) == "127.0.0.1");
    CIPv6Address const loopback({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1});
    EXPECT((*StandardIPv6Formats)[0].formatValue(loopback.bytes.data(), 16, nullptr) == "::1");
    EXPECT((*StandardStringFormats)[0].formatValue(std::string("text"), nullptr) == "text");
    EXPECT((*StandardProtocolIdFormats)[1].formatValue(6LL, nullptr) == "TCP");
    EXPECT((*StandardProtocolIdFormats)[2].formatValue(103LL, nullptr) == "0x67");
    for (auto const * const list : customLists)
        EXPECT((*list)->size() == 0);
}

// Every description, and so every object that is built on first use.
unsigned int describe(CStatDescription const & description)
{
    EXPECT(!description.getStringDescription().empty());
    if (auto const * const number = dynamic_cast<CNumericStatDescriptionBase const *>(&description))
        EXPECT(!number->getUnit().empty());
    for (unsigned int i = 0; i < description.getFormatCount(); ++i)
        EXPECT(!description.getFormat(i)->getName().empty());
    unsigned int count = 1;
    for (unsigned int i = 0; i < description.getSubStatsCount(); ++i)
        count += describe(*description.subStatDescription(i));
    return count;
}

void treeWorks()
{
    EXPECT(describe(CAgentStatistic::groupDescription()) > 50);
    EXPECT(describe(CExtendedStatistic::groupDescription()) > 50);

    static unsigned char const captured[60] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 2, 0, 0, 0, 0, 1, 8, 6};
    CKetrinStatManager manager;
    for (char const * const group : {"1.1", "1.2", "1.3", "1.4", "1.5", "1.6", "1.7", "1.8", "1.9", "2.1",
                                     "2.2", "2.3", "2.4", "2.5", "2.6", "2.7"})
        manager.enableStatistic(group);
    manager.beginAnalyzing(nullptr);
    CNetworkFrame frame;
    frame.Assign(captured, sizeof captured, sizeof captured);
    manager.analyzeFrame(&frame);
    manager.endAnalyzing();

    auto const & frames = manager.getAgentStatistic().globalStatistics.transmittedFrames;
    EXPECT(frames.get() == 1);
    EXPECT(frames.getDescription()->formatValue(&frames, 0, nullptr) == "1");
    EXPECT(frames.getDescription()->formatValue(&frames, 7, nullptr) == "host 1");
}

void pushFormats()
{
    for (auto const * const list : customLists)
        (*list)->push_back(new CHostFormat);
}

// What is built first goes last: descriptions, the supply of strings, the host's lists, the standard ones,
// the multipliers.
void tellTheOrderOfTeardown()
{
    auto const tell = [](void const * object) { report->objects[report->objectCount++] = object; };
    tell(&CAgentStatistic::groupDescription());
    tell(CAgentStatistic::groupDescription().subStatDescription(0));
    tell(&CStringResources::instance());
    tell(CustomIPv6Formats);
    tell(StandardIPv6Formats);
    for (CStatFormatContainerBase const * const list :
         {CustomProtocolIdFormats, CustomStringFormats, CustomIPFormats, CustomMACFormats,
          CustomDoubleFormats, CustomIntegerFormats})
        tell(list);
    for (CStatFormatContainerBase const * const list :
         {StandardStringFormats, StandardProtocolIdFormats, StandardIPFormats, StandardMACFormats,
          StandardDoubleFormats, StandardIntegerFormats})
        tell(list);
    for (Multiplier const * const multiplier : {&mExa, &mExaCS, &mPeta, &mPetaCS, &mTera, &mTeraCS, &mGiga,
                                                &mGigaCS, &mMega, &mMegaCS, &mKilo, &mKiloCS})
        tell(multiplier);
}

void use(Report * theReport, bool first)
{
    report = theReport;
    if (first) {
        nothingWasFetchedAtLoad();
        tellTheOrderOfTeardown();
    }
    multipliersStoodBeforeTheLists();
    listsWork();
    pushFormats();
    treeWorks();
    CustomStringFormats->push_back(nullptr);
}

} // namespace

extern "C" {

KETSTATS_API void useAndLeave(Report * theReport)
{
    use(theReport, true);
    theReport->formatsLeft = static_cast<int>(std::size(customLists));
}

KETSTATS_API void useAndTakeOut(Report * theReport)
{
    use(theReport, false);
    for (auto const * const list : customLists)
        (*list)->clear();
}
}
