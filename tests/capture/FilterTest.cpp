#include "ketstats/capture/FieldFilters.h"

#include "tests/support/Filters.h"
#include "tests/support/Frames.h"
#include "tests/support/Raised.h"

#include <gtest/gtest.h>

using namespace test;

namespace {

constexpr auto ptAny = CIPPortFilter::ptAny;
constexpr auto ptSource = CIPPortFilter::ptSource;
constexpr auto ptDestination = CIPPortFilter::ptDestination;
constexpr auto ptTCP = CIPPortFilter::ptTCP;
constexpr auto ptUDP = CIPPortFilter::ptUDP;

Bytes cut(Bytes const & frame, std::size_t length)
{
    return {frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(length)};
}

// The frame in every framing that the analysis sees through.
std::vector<Bytes> framingsOf(Bytes const & frame)
{
    return {frame,
            tagged(frame, 5),
            tagged(tagged(frame, 5, 0x9100), 6, 0x88A8),
            tagged(tagged(tagged(frame, 5), 6), 7),
            snap(frame),
            tagged(snap(frame), 5)};
}

// Behind a length field that says nothing.
Bytes behindLength(char const * payload)
{
    return ethernet(macB, macA, 40) + bytes(payload);
}

TEST(Filter, OfAMacAddressLooksAtItsEndOnly)
{
    Bytes const frame = ethernet(macB, macA, 0x88B5);

    EXPECT_TRUE(passes(from(macA), frame));
    EXPECT_FALSE(passes(from(macB), frame));
    EXPECT_TRUE(passes(to(macB), frame));
    EXPECT_FALSE(passes(to(macA), frame));
}

TEST(Filter, OfTheSourceStartsWithoutAnAddress)
{
    CSrcMACFilter const filter("", false);

    EXPECT_EQ(filter.address, CMACAddr());
}

TEST(Filter, OfTheDestinationReadsTheTextOfAnAddress)
{
    CMACAddr const address(bytes("02 00 00 00 00 0B").data());

    CDstMACFilter const filter(address, "", false);

    EXPECT_EQ(filter.address, address);
}

TEST(Filter, OfAProtocolComparesTheIdOfTheAnalysis)
{
    EXPECT_TRUE(passes(protocol(0x0806), arpRequest(hostA, hostB)));
    EXPECT_FALSE(passes(protocol(0x0800), arpRequest(hostA, hostB)));
    EXPECT_TRUE(passes(protocol(0x0042), behindLength("42 42 03")));
    EXPECT_FALSE(passes(protocol(0x4242), behindLength("42 42 03")));
    EXPECT_TRUE(passes(protocol(0x8137), behindLength("FF FF 00 22")));
    EXPECT_TRUE(passes(protocol(0x00FF), behindLength("FF 03 00 22")));
    EXPECT_TRUE(passes(protocol(0x00AA), behindLength("AA AA 00 00")));
    EXPECT_FALSE(passes(protocol(0x00AA), behindLength("AA AA 03 00")));
    EXPECT_TRUE(passes(protocol(0x8100), behindLength("AA AA 03 00 00 00 81 00")));
    EXPECT_FALSE(passes(protocol(0x8100), tagged(arpRequest(hostA, hostB), 5)));
}

TEST(Filter, OfAProtocolComparesAllSixBytes)
{
    Bytes const frame = arpRequest(hostA, hostB);

    EXPECT_TRUE(passes(protocol(bytes("00 00 00 00 08 06")), frame));
    EXPECT_FALSE(passes(protocol(bytes("00 01 00 00 08 06")), frame));
    EXPECT_FALSE(passes(protocol(bytes("08 06 00 00 00 00")), frame));
}

TEST(Filter, OfIPSeesThroughEveryFraming)
{
    for (Bytes const & frame : framingsOf(tcpFrame(hostA, hostB, 80, 1025))) {
        EXPECT_TRUE(passes(protocol(0x0800), frame));
        EXPECT_TRUE(passes(subprotocol(6), frame));
        EXPECT_FALSE(passes(subprotocol(17), frame));
        EXPECT_TRUE(passes(port(80, ptTCP), frame));
        EXPECT_FALSE(passes(port(81, ptTCP), frame));
        EXPECT_TRUE(passes(address("10.0.0.10", 12), frame));
        EXPECT_FALSE(passes(address("10.0.0.10", 16), frame));
        EXPECT_TRUE(passes(address("10.0.0.11", 16), frame));
    }
}

TEST(Filter, OfIPPassesNothingElse)
{
    Bytes frame = tcpFrame(hostA, hostB, 80, 1025);
    frame[13] = 0x01;

    EXPECT_FALSE(passes(subprotocol(6), frame));
    EXPECT_FALSE(passes(port(80, ptAny), frame));
    EXPECT_FALSE(passes(address("10.0.0.10", 12), frame));
    EXPECT_TRUE(passes(no(address("10.0.0.10", 12)), frame));
}

TEST(Filter, OfAPortLooksAtTheEndAndTransportOfItsType)
{
    Bytes const tcp = tcpFrame(hostA, hostB, 80, 1025);
    Bytes const udp = udpFrame(hostA, hostB, 80, 1025);
    Bytes other = tcp;
    other[14 + 9] = 47;

    struct
    {
        CIPPortFilter::ePortType type;
        bool tcpSource, tcpDestination, udpSource, udpDestination;
    } const expected[] = {
        {ptAny, true, true, true, true},           {ptSource, true, false, true, false},
        {ptDestination, false, true, false, true}, {ptTCP, true, true, false, false},
        {ptUDP, false, false, true, true},
    };
    for (auto const & row : expected) {
        EXPECT_EQ(passes(port(80, row.type), tcp), row.tcpSource) << row.type;
        EXPECT_EQ(passes(port(1025, row.type), tcp), row.tcpDestination) << row.type;
        EXPECT_EQ(passes(port(80, row.type), udp), row.udpSource) << row.type;
        EXPECT_EQ(passes(port(1025, row.type), udp), row.udpDestination) << row.type;
        EXPECT_FALSE(passes(port(80, row.type), other)) << row.type;
    }
}

TEST(Filter, OfAPortTakesTheHeaderLengthAsItStands)
{
    EXPECT_TRUE(passes(port(80, ptSource), tcpFrame(hostA, hostB, 80, 1025, 15)));
    EXPECT_TRUE(passes(port(80, ptSource), tcpFrame(hostA, hostB, 80, 1025, 5)));
    // Of no words: the ports are the first four bytes of the header.
    EXPECT_TRUE(
        passes(port(0x4001, ptSource), ipFrame(hostA, hostB, 6, bytes("40 01 00 02 40 00 00 00 40 06"), 0)));
    EXPECT_TRUE(
        passes(port(2, ptDestination), ipFrame(hostA, hostB, 6, bytes("40 01 00 02 40 00 00 00 40 06"), 0)));
}

TEST(Filter, OfIPLooksNeitherAtVersionNorAtFragments)
{
    Bytes frame = tcpFrame(hostA, hostB, 80, 1025);
    frame[14] = 0x65;
    frame[14 + 7] = 185;

    EXPECT_TRUE(passes(port(80, ptTCP), frame));
    EXPECT_TRUE(passes(address("10.0.0.10", 12), frame));
}

TEST(Filter, OfAnAddressReadsAnyPosition)
{
    Bytes const frame = tcpFrame(hostA, hostB, 80, 1025);

    EXPECT_TRUE(passes(address("0.80.4.1", 20), frame));
    EXPECT_TRUE(passes(address("0.0.10.10", 13), tcpFrame(hostA, {macB, "10.0.0.11"}, 80, 1025)));
    for (unsigned int beyond : {1000U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFF0U, 0xFFFFFFFEU, 0xFFFFFFFFU}) {
        EXPECT_TRUE(passes(address("0.0.0.0", beyond), frame)) << beyond;
        EXPECT_FALSE(passes(address("10.0.0.10", beyond), frame)) << beyond;
    }
}

TEST(Filter, ReadsWhatWasCutOffAsZero)
{
    Bytes const frame = tcpFrame(hostA, hostB, 80, 1025);

    EXPECT_TRUE(passes(address("10.0.0.0", 16), cut(frame, 14 + 19)));
    EXPECT_TRUE(passes(port(0x0400, ptDestination), cut(frame, 14 + 23)));
    EXPECT_TRUE(passes(port(0, ptDestination), cut(frame, 14 + 22)));
    EXPECT_FALSE(passes(subprotocol(6), cut(frame, 14 + 9)));
    EXPECT_TRUE(passes(subprotocol(0), cut(frame, 14 + 9)));
    EXPECT_TRUE(passes(subprotocol(0), cut(frame, 14)));
    EXPECT_FALSE(passes(protocol(0x0800), cut(frame, 12)));
    EXPECT_TRUE(passes(protocol(0x0000), cut(frame, 12)));
    EXPECT_TRUE(passes(from("02-00-00-00-00-00"), cut(frame, 11)));
    EXPECT_TRUE(passes(to("00-00-00-00-00-00"), {}));
}

TEST(Filter, OfAHeaderBehindTheCapturedBytesReadsZeros)
{
    Bytes const frame = tcpFrame(hostA, hostB, 80, 1025);

    EXPECT_TRUE(passes(subprotocol(0), cut(snap(frame), 22)));
    EXPECT_TRUE(passes(address("0.0.0.0", 12), cut(snap(frame), 22)));
    // Half a type and a zero make that of IP.
    EXPECT_TRUE(passes(subprotocol(0), cut(tagged(frame, 5), 17)));
    EXPECT_FALSE(passes(subprotocol(0), cut(tagged(frame, 5), 16)));
}

TEST(Filter, ReadsNothingBehindTheCapturedBytesThoughItLiesThere)
{
    Filter const filters[] = {from(macA),
                              protocol(0x0800),
                              protocol(0x0000),
                              subprotocol(6),
                              subprotocol(0),
                              port(80, ptTCP),
                              port(0, ptAny),
                              address("10.0.0.10", 12),
                              address("10.0.0.11", 16),
                              address("0.0.0.0", 16),
                              address("0.0.0.0", 0xFFFFFFF0)};
    for (Bytes const & frame : framingsOf(tcpFrame(hostA, hostB, 80, 1025)))
        for (std::size_t length = 0; length < frame.size(); ++length) {
            Bytes zeros = cut(frame, length);
            zeros.resize(frame.size() + 64);
            CFrame const captured(frame.data(), static_cast<unsigned int>(length), 60);
            for (Filter const & filter : filters)
                EXPECT_EQ(filter->IsSatisfied(&captured), passes(filter, zeros))
                    << filter->GetDescription() << ", " << length << " bytes";
        }
}

TEST(Filter, NegatedPassesTheOthers)
{
    Bytes const frame = ethernet(macB, macA, 0x88B5);

    EXPECT_FALSE(passes(no(from(macA)), frame));
    EXPECT_TRUE(passes(no(from(macB)), frame));
    EXPECT_FALSE(passes(no(all(from(macA), to(macB))), frame));
    EXPECT_TRUE(passes(all(no(from(macB)), to(macB)), frame));
    EXPECT_FALSE(passes(no(all()), frame));
    EXPECT_TRUE(passes(no(any()), frame));
}

TEST(Filter, IsNotSatisfiedByNull)
{
    EXPECT_FALSE(from(macA)->IsSatisfied(nullptr));
    EXPECT_FALSE(no(from(macA))->IsSatisfied(nullptr));
    EXPECT_FALSE(all()->IsSatisfied(nullptr));
    EXPECT_FALSE(no(any())->IsSatisfied(nullptr));
}

TEST(Filter, OfAnotherOperationOrPortTypePassesNothing)
{
    Bytes const frame = tcpFrame(hostA, hostB, 80, 1025);
    auto const other = static_cast<eOperation>(1);

    EXPECT_FALSE(passes(std::make_unique<CIPPortFilter>(std::uint16_t{80}, ptTCP, other, "", false), frame));
    EXPECT_FALSE(
        passes(std::make_unique<CIPAddrFilter>(ip("10.0.0.10"), 12U, other, std::string(), false), frame));
    EXPECT_FALSE(passes(port(80, static_cast<CIPPortFilter::ePortType>(5)), frame));
}

TEST(CompoundFilter, CombinesByItsMode)
{
    Bytes const frame = ethernet(macB, macA, 0x88B5);

    EXPECT_TRUE(passes(all(from(macA), to(macB)), frame));
    EXPECT_FALSE(passes(all(from(macA), to(macC)), frame));
    EXPECT_TRUE(passes(any(from(macC), to(macB)), frame));
    EXPECT_FALSE(passes(any(from(macC), to(macC)), frame));
}

TEST(CompoundFilter, OfNonePassesAllOrNothing)
{
    EXPECT_TRUE(passes(all(), ethernet(macB, macA, 0x88B5)));
    EXPECT_FALSE(passes(any(), ethernet(macB, macA, 0x88B5)));
}

TEST(CompoundFilter, IsMadeEmptyAndOfModeAll)
{
    CCompoundFilter const filter("", false);

    EXPECT_EQ(filter.size(), 0U);
    EXPECT_EQ(filter.mode, 0U);
    EXPECT_FALSE(filter.negated);
}

TEST(CompoundFilter, KeepsTheOrderInWhichFiltersAreAdded)
{
    CCompoundFilter filter("", false);
    CFilter * const first = from(macA).release();
    CFilter * const second = from(macB).release();

    filter.Add(first);
    filter.Add(nullptr);
    filter.Add(second);

    EXPECT_EQ(filter.size(), 2U);
    EXPECT_EQ(filter.GetAt(0), first);
    EXPECT_EQ(filter.GetAt(1), second);
    EXPECT_EQ(filter.GetAt(2), nullptr);
    EXPECT_EQ(filter.GetAt(0xFFFFFFFF), nullptr);
}

// A frame that counts how often its bytes are asked for.
class AskedFrame : public CFrame
{
public:
    explicit AskedFrame(Bytes const & data)
        : CFrame(data.data(), static_cast<unsigned int>(data.size()), static_cast<unsigned int>(data.size()))
    {}
    unsigned char const * GetData() const override
    {
        ++asked;
        return CFrame::GetData();
    }

    mutable int asked = 0;
};

TEST(CompoundFilter, AnalysesAFrameOnceForAllItsFilters)
{
    Bytes const data = tcpFrame(hostA, hostB, 80, 1025);
    AskedFrame const frame(data);

    EXPECT_TRUE(all(subprotocol(6), all(port(80, ptTCP), from(macA)))->IsSatisfied(&frame));

    EXPECT_EQ(frame.asked, 1);
}

TEST(Filter, TellsItsKindByANumberThatStays)
{
    EXPECT_EQ(all()->GetFilterId(), 1U);
    EXPECT_EQ(from(macA)->GetFilterId(), 2U);
    EXPECT_EQ(to(macA)->GetFilterId(), 3U);
    EXPECT_EQ(protocol(0x0800)->GetFilterId(), 4U);
    EXPECT_EQ(subprotocol(6)->GetFilterId(), 5U);
    EXPECT_EQ(port(80, ptTCP)->GetFilterId(), 6U);
    EXPECT_EQ(address("10.0.0.1", 12)->GetFilterId(), 7U);
}

TEST(Filter, CloneIsEqualInEverything)
{
    Filter const filter =
        described("one", no(any(from(macA), to(macB), described("two", all(protocol(0x0806), subprotocol(1))),
                                no(port(80, ptUDP)), address("10.0.0.1", 16))));

    Filter const clone(filter->Clone());

    EXPECT_EQ(packedFilter(*clone), packedFilter(*filter));
}

TEST(Filter, CloneSharesNothing)
{
    auto filter = std::make_unique<CCompoundFilter>("", false);
    filter->Add(from(macA).release());

    Filter const clone(filter->Clone());
    auto const & copied = dynamic_cast<CCompoundFilter const &>(*clone);
    Bytes const before = packedFilter(*clone);
    EXPECT_NE(copied.GetAt(0), filter->GetAt(0));
    filter.reset();

    EXPECT_EQ(packedFilter(*clone), before);
}

CCompoundFilter & asCompound(CFilter & filter)
{
    return dynamic_cast<CCompoundFilter &>(filter);
}

// A stack that suffices for the bound is enough for all that can be built, whatever is added to what first.
TEST(CompoundFilter, IsBuiltToABoundOfLevels)
{
    Filter deepest = nested(CFilter::deepestBuilding, from(macA));
    EXPECT_TRUE(passes(deepest, ethernet(macB, macA, 0x88B5)));
    EXPECT_EQ(deepest->GetDescription(), from(macA)->GetDescription());
    EXPECT_TRUE(passes(Filter(deepest->Clone()), ethernet(macB, macA, 0x88B5)));

    CCompoundFilter around("", false);
    EXPECT_EQ(raisedBy<CFilter::CException>([&] { around.Add(deepest.release()); }).code, 1);
    EXPECT_EQ(around.size(), 0U) << "what is too deep is deleted";
}

TEST(CompoundFilter, IsBuiltFromTheOutsideToTheSameBound)
{
    CCompoundFilter outermost("", false);
    CCompoundFilter * innermost = &outermost;
    for (unsigned int levels = 1; levels < CFilter::deepestBuilding; ++levels) {
        innermost->Add(all().release());
        innermost = &asCompound(*innermost->GetAt(0));
    }

    EXPECT_EQ(raisedBy<CFilter::CException>([&] { innermost->Add(all().release()); }).code, 1);
    innermost->Add(from(macA).release());

    // In the middle, what is added may have as many levels as are left.
    CFilter * middle = &outermost;
    for (int levels = 0; levels < 200; ++levels)
        middle = asCompound(*middle).GetAt(0);
    asCompound(*middle).Add(nested(CFilter::deepestBuilding - 201, from(macB)).release());
    EXPECT_EQ(raisedBy<CFilter::CException>([&] {
                  asCompound(*middle).Add(nested(CFilter::deepestBuilding - 200, from(macB)).release());
              }).code,
              1);
    // A clone has its own bound, with no levels around it.
    Filter const clone(asCompound(*middle).GetAt(1)->Clone());
    asCompound(*clone).Add(nested(CFilter::deepestBuilding - 1, from(macB)).release());
}

// Whoever fills the list past Add builds what can't be cloned, but goes in peace.
TEST(CompoundFilter, BuiltWithoutABoundIsDestroyedAndNotCloned)
{
    Filter filter = from(macA);
    for (int levels = 0; levels < 300000; ++levels) {
        auto next = std::make_unique<CCompoundFilter>("", false);
        next->filters.push_back(filter.release());
        filter = std::move(next);
    }
    ktools::CMemoryBuffer buffer;

    EXPECT_EQ(raisedBy<CFilter::CException>([&] { static_cast<void>(filter->Clone()); }).code, 1);
    EXPECT_EQ(raisedBy<CFilter::CException>([&] { filter->Pack(buffer); }).code, 1);
    EXPECT_EQ(raisedBy<CFilter::CException>([&] { all(std::move(filter)); }).code, 1);
}

} // namespace
