#include "ketstats/schema/AgentStatistic.h"

#include "tests/support/Bytes.h"
#include "tests/support/Raised.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>

using namespace KetStats;
using ktools::CMemoryBuffer;
using test::bytes;
using test::Raised;
using test::raisedBy;

namespace {

std::string nameAt(CAgentStatistic & root, char const * oid)
{
    CBaseStat const * const stat = root.getStatPointer(COid(oid), 1);
    return stat ? stat->getDescription()->getStringDescription() : "nothing";
}

// Every node at or below `stat` whose place is fixed.
void walk(CBaseStat & stat, std::function<void(CBaseStat &)> const & visit)
{
    visit(stat);
    for (unsigned int index = 0; index < stat.getChildrenCount(); ++index)
        walk(*stat.getChild(index), visit);
}

TEST(AgentStatistic, RootIsNamedByOne)
{
    CAgentStatistic root;

    EXPECT_EQ(root.getStatMemberPointer(COid("1")).offset, 0);
    EXPECT_EQ(&root[root.getStatMemberPointer(COid("1"))], &root);
    EXPECT_EQ(root.getOid().toString(), "1");
    EXPECT_EQ(root.getDescription()->getStringDescription(), "Agent statistics");
    EXPECT_EQ(root.getDescription()->getOid(), 1);
    EXPECT_EQ(root.buildFilter(), nullptr);
}

TEST(AgentStatistic, IdentifiersThatLeadNowherePointAtNothing)
{
    CAgentStatistic root;
    for (COid const & oid : {COid(), COid("2"), COid("0"), COid("2.1"), COid("1.12"), COid("1.0"),
                             COid("1.1.7"), COid("1.1.1.1"), COid("1.4.3")})
        EXPECT_LT(root.getStatMemberPointer(oid).offset, 0) << oid.toString();
}

TEST(AgentStatistic, NegativePointerIsRefused)
{
    CAgentStatistic root;
    EXPECT_EQ(raisedBy<CAgentStatistic::CException>([&] { root[CAgentStatistic::CStatPointer()]; }),
              (Raised{1, "AgentStatistic", 559, true}));
    CAgentStatistic const & constant = root;
    EXPECT_EQ(raisedBy<CAgentStatistic::CException>([&] { constant[{-5}]; }).line, 559);
}

TEST(AgentStatistic, PointerOfOneRootServesEveryRoot)
{
    CAgentStatistic first;
    CAgentStatistic second;
    int nodes = 0;
    walk(first, [&](CBaseStat & stat) {
        COid const oid = stat.getOid();
        auto const position = first.getStatMemberPointer(oid);
        ASSERT_GE(position.offset, 0) << oid.toString();
        EXPECT_EQ(&first[position], &stat) << oid.toString();
        EXPECT_EQ(&second[position], second.getStatPointer(oid, 1)) << oid.toString();
        EXPECT_EQ(second[position].getOid().toString(), oid.toString());
        ++nodes;
    });
    EXPECT_GT(nodes, 70);
}

TEST(AgentStatistic, EveryChildHasTheIdOfItsPlaceAndOfItsDescription)
{
    CAgentStatistic root;
    walk(root, [](CBaseStat & stat) {
        for (unsigned int index = 0; index < stat.getChildrenCount(); ++index) {
            CBaseStat const & child = *stat.getChild(index);
            EXPECT_EQ(child.getId(), index + 1);
            EXPECT_EQ(stat.getDescription()->subStatDescription(index), child.getDescription());
            EXPECT_EQ(child.getDescription()->getOid(), index + 1) << child.getOid().toString();
            EXPECT_EQ(child.getParent(), &stat);
            EXPECT_TRUE(child.checkChanged());
        }
        if (dynamic_cast<CBaseHashedContainerStat const *>(&stat)) {
            EXPECT_EQ(stat.getChildrenCount(), 0U);
            EXPECT_EQ(stat.getDescription()->getSubStatsCount(), 1U) << "the row";
        } else {
            EXPECT_EQ(stat.getDescription()->getSubStatsCount(), stat.getChildrenCount());
        }
        EXPECT_EQ(stat.getChild(stat.getChildrenCount()), nullptr);
    });
}

TEST(AgentStatistic, NamesStandAtTheirIdentifiers)
{
    CAgentStatistic root;

    EXPECT_EQ(nameAt(root, "1.1"), "Global statistics");
    EXPECT_EQ(nameAt(root, "1.1.1"), "Sample number");
    EXPECT_EQ(nameAt(root, "1.1.2"), "Global transmitted data");
    EXPECT_EQ(nameAt(root, "1.1.6"), "Peak network utilisation");
    EXPECT_EQ(nameAt(root, "1.2.3"), "Accuracy");
    EXPECT_EQ(nameAt(root, "1.2.10"), "Receive overruns");
    EXPECT_EQ(nameAt(root, "1.2.11"), "Hartbeat failure");
    EXPECT_EQ(nameAt(root, "1.2.12"), "Carrier lost");
    EXPECT_EQ(nameAt(root, "1.2.13"), "Late collisions");
    EXPECT_EQ(nameAt(root, "1.3.5"), "Rejected frames in last sample");
    EXPECT_EQ(nameAt(root, "1.4"), "Frame tables");
    EXPECT_EQ(nameAt(root, "1.4.1"), "Frame types");
    EXPECT_EQ(nameAt(root, "1.4.1.1"), "Broadcast");
    EXPECT_EQ(nameAt(root, "1.4.1.2"), "Multicast");
    EXPECT_EQ(nameAt(root, "1.4.1.3"), "Unicast");
    EXPECT_EQ(nameAt(root, "1.4.2.6"), "> 1024 B");
    EXPECT_EQ(nameAt(root, "1.4.2.6.4"), "Percentage");
}

TEST(GlobalErrors, EndsWithLateCollisions)
{
    CAgentStatistic root;

    EXPECT_EQ(root.globalErrors.getChild(13), nullptr);
    EXPECT_EQ(root.globalErrors.getChild(12), &root.globalErrors.lateCollisions);
}

std::string unitAt(CAgentStatistic & root, char const * oid)
{
    auto const * const numeric = dynamic_cast<CNumericStatDescriptionBase const *>(
        root.getStatPointer(COid(oid), 1)->getDescription());
    return numeric ? numeric->getUnit() + '/' + numeric->getUnits() + '/' + numeric->getAbbrev() : "none";
}

TEST(GlobalStatistics, HaveTheirUnits)
{
    CAgentStatistic root;

    EXPECT_EQ(unitAt(root, "1.1.1"), "sample/samples/spl");
    EXPECT_EQ(unitAt(root, "1.1.2"), "byte/bytes/B");
    EXPECT_EQ(unitAt(root, "1.1.3"), "frame/frames/fr");
    EXPECT_EQ(unitAt(root, "1.1.4"), "bandwith/bandwith/bndw");
    EXPECT_EQ(unitAt(root, "1.2.1"), "entity/entities/e");
    EXPECT_EQ(unitAt(root, "1.2.3"), "percent/percent/%");
    EXPECT_EQ(unitAt(root, "1.3.3"), "frame/frames/fr");
    EXPECT_EQ(unitAt(root, "1.3.4"), "frame per sec/frames per sec/fr/s");
    EXPECT_EQ(unitAt(root, "1.4.1.1.1"), "none");
}

TEST(FrameTables, RowsBearTheirOwnLabel)
{
    CAgentStatistic root;

    EXPECT_EQ(root.frameTables.frameSizes.getChildById(1)->getChild(0)->getString(), "<= 64 B");
    EXPECT_EQ(root.frameTables.frameSizes.size1024.name.get(), "512 - 1024 B");
    EXPECT_EQ(root.frameTables.frameTypes.multicast.name.get(), "Multicast");
    root.reset();
    EXPECT_EQ(root.frameTables.frameTypes.multicast.name.get(), "Multicast");
}

TEST(FrameTables, DescriptionsAreOfTableKindWithARowDescription)
{
    auto const & types = CFrameTypesStat::groupDescription();
    auto const & sizes = CFrameSizesStat::groupDescription();

    EXPECT_EQ(types.getSubStatsCount(), 3U);
    EXPECT_EQ(types.subStatDescription(0)->getSubStatsCount(), 4U);
    EXPECT_EQ(types.getStatType(), CStatDescription::stTable);
    EXPECT_EQ(types.getRowDescription()->getStringDescription(), "Name");
    EXPECT_EQ(types.getRowDescription()->getSubStatsCount(), 4U);
    EXPECT_EQ(sizes.getSubStatsCount(), 6U);
    EXPECT_EQ(sizes.getRowDescription()->getStringDescription(), "> 1024 B");
    EXPECT_NE(sizes.getRowDescription(), sizes.subStatDescription(5)) << "named alike, and another object";
    for (unsigned int row = 0; row < 6; ++row)
        for (unsigned int column = 0; column < 4; ++column)
            EXPECT_EQ(sizes.subStatDescription(row)->subStatDescription(column),
                      types.getRowDescription()->subStatDescription(column))
                << "all rows share four columns";
}

TEST(AgentStatistic, NoGroupHasAFilter)
{
    CAgentStatistic root;
    walk(root, [](CBaseStat & stat) {
        if (auto const * const group = dynamic_cast<CBaseStaticContainerStat const *>(&stat)) {
            EXPECT_EQ(group->buildFilter(), nullptr);
        }
    });
}

CAgentStatistic & filled(CAgentStatistic & root, unsigned int seed)
{
    std::mt19937 random(seed);
    for (CBaseStat * const group :
         {static_cast<CBaseStat *>(&root.globalStatistics), static_cast<CBaseStat *>(&root.globalErrors),
          static_cast<CBaseStat *>(&root.globalFilter), static_cast<CBaseStat *>(&root.frameTables)})
        walk(*group, [&](CBaseStat & stat) {
            if (auto * const counter = dynamic_cast<CValueStat<unsigned int> *>(&stat))
                *counter = static_cast<unsigned int>(random());
            else if (auto * const data = dynamic_cast<CValueStat<long long> *>(&stat))
                *data = static_cast<long long>(random()) << 20;
            else if (auto * const ratio = dynamic_cast<CValueStat<percentVal> *>(&stat))
                *ratio = percentVal(static_cast<double>(random()) / 1000.0);
        });
    return root;
}

test::Bytes packed(CBaseStat & stat, bool onlyChanged)
{
    CMemoryBuffer buffer;
    stat.packValue(buffer, onlyChanged);
    return test::contents(buffer);
}

// The groups of fixed shape, each packed, cut at every length and damaged in every byte.
TEST(FixedGroups, PackedFormsSurviveCutsAndDamage)
{
    CAgentStatistic source;
    filled(source, 1);
    for (unsigned int index = 0; index < 4; ++index) {
        test::Bytes const whole = packed(*source.getChild(index), false);
        SCOPED_TRACE(testing::Message() << "group " << index + 1 << ", " << whole.size() << " bytes");

        for (std::size_t length = 0; length < whole.size(); ++length) {
            CAgentStatistic target;
            CMemoryBuffer cut(whole.data(), static_cast<int>(length));
            ASSERT_EQ(
                raisedBy<CMemoryBuffer::CException>([&] { target.getChild(index)->unpackValue(cut); }).line,
                184);
        }
        CAgentStatistic target;
        for (std::size_t at = 0; at < whole.size(); ++at) {
            test::Bytes damaged = whole;
            damaged[at] ^= 0xFF;
            CMemoryBuffer buffer(damaged.data(), static_cast<int>(damaged.size()));
            Raised const raised =
                raisedBy<CMemoryBuffer::CException>([&] { target.getChild(index)->unpackValue(buffer); });
            ASSERT_TRUE(raised == test::nothingRaised || raised.line == 184 || raised.line == 283) << raised;
        }
        CMemoryBuffer buffer(whole.data(), static_cast<int>(whole.size()));
        target.getChild(index)->unpackValue(buffer);
        EXPECT_EQ(packed(*target.getChild(index), false), whole);
        EXPECT_EQ(target.getChild(index)->compare(*source.getChild(index)), 0);
    }
}

TEST(FixedGroups, GlobalFilterHasItsGoldenForm)
{
    CAgentStatistic root;
    root.globalFilter.filteredFrames = 0x11223344U;
    root.globalFilter.acceptedFrames = 2U;
    root.globalFilter.rejectedFrames = 3U;
    root.globalFilter.acceptedInLastSample = 4U;
    root.globalFilter.rejectedInLastSample = 5U;

    EXPECT_EQ(packed(root.globalFilter, false), bytes("01 00 44 33 22 11"
                                                      "02 00 02 00 00 00"
                                                      "03 00 03 00 00 00"
                                                      "04 00 04 00 00 00"
                                                      "05 00 05 00 00 00"
                                                      "00 00"));
}

TEST(FixedGroups, FrameRowHasItsGoldenForm)
{
    CAgentStatistic root;
    CFrameTypeOrSizeStat & row = root.frameTables.frameTypes.unicast;
    row.frames = 2U;
    row.data = -1LL;
    row.percentage = percentVal(1.0);

    EXPECT_EQ(packed(row, false), bytes("01 00 07 00 55 6e 69 63 61 73 74" // name: length, "Unicast"
                                        "02 00 02 00 00 00"                // frames
                                        "03 00 ff ff ff ff ff ff ff ff"    // data, signed
                                        "04 00 00 00 00 00 00 00 f0 3f"    // percentage, binary64
                                        "00 00"));
}

TEST(FixedGroups, DeltaOfAQuietTreeIsTheEndMark)
{
    CAgentStatistic sent;
    CAgentStatistic live;
    filled(live, 2);
    EXPECT_TRUE(sent.globalErrors.compareAssign(live.globalErrors));
    EXPECT_GT(packed(sent.globalErrors, true).size(), 2U);

    EXPECT_FALSE(sent.globalErrors.compareAssign(live.globalErrors));
    EXPECT_EQ(packed(sent.globalErrors, true), bytes("00 00"));
}

// ---- limits ----

CTableLimits const unlike{12, 13, 14, 15, 16, 17, 18, 19, 20, 21};

TEST(AgentStatistic, LimitsOfTheLibraryStandUnlessOthersAreGiven)
{
    CAgentStatistic const root;

    EXPECT_EQ(root.limits(), CTableLimits());
    EXPECT_EQ(root.stations.getLimit(), 200U);
    EXPECT_EQ(root.ipConnections.getLimit(), 1000U);
    EXPECT_EQ(root.ipPorts.udpPorts.getLimit(), 1000U);
    EXPECT_EQ(CStationStat(nullptr, 1).tcpPorts.getLimit(), 200U) << "outside of any tree";
}

TEST(AgentStatistic, EachTableHasItsOwnLimit)
{
    CAgentStatistic root(unlike);
    CStationStat const & station = *root.stations[CMACAddrPacked()];

    EXPECT_EQ(root.limits(), unlike);
    EXPECT_EQ(root.stations.getLimit(), 12U);
    EXPECT_EQ(root.protocols.getLimit(), 13U);
    EXPECT_EQ(root.macConnections.getLimit(), 14U);
    EXPECT_EQ(root.ipConnections.getLimit(), 15U);
    EXPECT_EQ(root.arpTable.getLimit(), 16U);
    EXPECT_EQ(root.ipSubprotocols.getLimit(), 17U);
    EXPECT_EQ(root.ipPorts.tcpPorts.getLimit(), 18U);
    EXPECT_EQ(root.ipPorts.udpPorts.getLimit(), 19U);
    EXPECT_EQ(station.tcpPorts.getLimit(), 20U);
    EXPECT_EQ(station.udpPorts.getLimit(), 21U);
}

TEST(AgentStatistic, LimitsThatNoTableCanHaveAreRefused)
{
    unsigned int CTableLimits::*const all[] = {
        &CTableLimits::stations,        &CTableLimits::protocols, &CTableLimits::macConnections,
        &CTableLimits::ipConnections,   &CTableLimits::arpTable,  &CTableLimits::ipSubprotocols,
        &CTableLimits::tcpPorts,        &CTableLimits::udpPorts,  &CTableLimits::stationTcpPorts,
        &CTableLimits::stationUdpPorts,
    };
    for (auto const limit : all)
        for (unsigned int const rows : {0U, 1U, 65536U, ~0U}) {
            CTableLimits limits;
            limits.*limit = rows;
            auto const raised =
                raisedBy<CAgentStatistic::CException>([&] { CAgentStatistic const refused(limits); });
            EXPECT_EQ(raised.code, 2) << rows;
            EXPECT_EQ(raised.source, "TableLimits");
        }
}

TEST(AgentStatistic, PointersServeTreesOfAnyLimits)
{
    CAgentStatistic root;
    CAgentStatistic other(unlike);
    auto const position = root.getStatMemberPointer(COid("1.11.2"));
    EXPECT_EQ(&other[position], &other.ipPorts.udpPorts);
}

TEST(AgentStatistic, TreesOfUnequalLimitsDoNotTakeEachOthersRows)
{
    CAgentStatistic root;
    CTableLimits limits;
    limits.protocols = 201;
    CAgentStatistic other(limits);
    auto const refusal = [](auto const & operation) {
        return raisedBy<CBaseHashedContainerStat::CException>(operation).code;
    };

    EXPECT_EQ(refusal([&] { root.assign(other); }), 2);
    EXPECT_EQ(refusal([&] { root.protocols.assign(other.protocols); }), 2);
    EXPECT_EQ(refusal([&] { root.protocols.compareAssign(other.protocols); }), 2);
    EXPECT_EQ(refusal([&] { root.stations.assign(other.stations); }), 0);
}

} // namespace
