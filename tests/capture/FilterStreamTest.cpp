#include "ketstats/capture/FieldFilters.h"

#include "fuzz/UnpackFilterCheck.h"
#include "tests/support/Filters.h"
#include "tests/support/Frames.h"
#include "tests/support/Raised.h"

#include <gtest/gtest.h>

using namespace test;

namespace {

// A filter of every kind, and all of them in one.
std::vector<Bytes> corpus()
{
    Filter const filters[] = {
        from(macA),
        described("to B", to(macB)),
        no(protocol(0x0806)),
        subprotocol(17),
        port(80, CIPPortFilter::ptTCP),
        address("10.0.0.1", 12),
        no(address6("2001:db8::1", 24)),
        protocol6(58),
        described("web", port6(80, CIPPortFilter::ptTCP)),
        vlan(4095, CVlanFilter::vtInner),
        all(),
        any(from(macA), described("both", no(all(protocol(0x0800), port(53, CIPPortFilter::ptUDP)))),
            all(address("10.0.0.1", 16), subprotocol(6), any())),
    };
    std::vector<Bytes> streams;
    for (Filter const & filter : filters)
        streams.push_back(packedFilter(*filter));
    return streams;
}

Raised unpackRaises(Bytes const & stream)
{
    return raisedBy<CFilter::CException>([&] { unpackedFilter(stream); });
}

TEST(FilterStream, PacksFieldByField)
{
    Filter const filter = described("web", no(any(port(80, CIPPortFilter::ptTCP), address("10.0.0.1", 12),
                                                  all(from(macA), subprotocol(17)))));

    EXPECT_EQ(packedFilter(*filter), bytes("01 "                   // compound
                                           "01 "                   // negated
                                           "03 00 00 00 77 65 62 " // "web"
                                           "01 00 00 00 "          // any
                                           "03 00 00 00 "          // of three
                                           "06 00 00 00 00 00 "    // IP port, without a description
                                           "50 00 "                // 80
                                           "03 00 00 00 "          // TCP at either end
                                           "00 00 00 00 "          // equal
                                           "07 00 00 00 00 00 "    // IP address
                                           "0A 00 00 01 "          // as on the wire
                                           "0C 00 00 00 "          // source
                                           "00 00 00 00 "          // equal
                                           "01 00 00 00 00 00 "    // compound
                                           "00 00 00 00 "          // all
                                           "02 00 00 00 "          // of two
                                           "02 00 00 00 00 00 "    // source MAC
                                           "02 00 00 00 00 0A "    //
                                           "05 00 00 00 00 00 "    // IP sub-protocol
                                           "11"));                 // 17
    EXPECT_EQ(packedFilter(*to(macB)), bytes("03 00 00 00 00 00 02 00 00 00 00 0B"));
    EXPECT_EQ(packedFilter(*protocol(0x0806)), bytes("04 00 00 00 00 00 00 00 00 00 08 06"));
}

// The example of docs/filters.md.
TEST(FilterStream, PacksTheFilterOfARowOfPorts)
{
    EXPECT_EQ(packedFilter(*all(protocol(0x0800), subprotocol(6), port(80, CIPPortFilter::ptTCP))),
              bytes("01 00 00 00 00 00 00 00 00 00 03 00 00 00 "
                    "04 00 00 00 00 00 00 00 00 00 08 00 "
                    "05 00 00 00 00 00 06 "
                    "06 00 00 00 00 00 50 00 03 00 00 00 00 00 00 00"));
}

// Filters that came later have ids behind those of the first.
TEST(FilterStream, PacksFiltersOfIPv6AndVlans)
{
    EXPECT_EQ(packedFilter(*address6("2001:db8::a", 8)),
              bytes("08 00 00 00 00 00 "                               // IPv6 address, without a description
                    "20 01 0D B8 00 00 00 00 00 00 00 00 00 00 00 0A " // as on the wire
                    "08 00 00 00 "                                     // source
                    "00 00 00 00"));                                   // equal
    EXPECT_EQ(packedFilter(*no(protocol6(58))), bytes("09 01 00 00 00 00 3A"));
    EXPECT_EQ(packedFilter(*port6(443, CIPPortFilter::ptUDP)),
              bytes("0A 00 00 00 00 00 " // IPv6 port
                    "BB 01 "             // 443
                    "04 00 00 00 "       // UDP at either end
                    "00 00 00 00"));     // equal
    EXPECT_EQ(packedFilter(*vlan(0x123, CVlanFilter::vtInner)),
              bytes("0B 00 00 00 00 00 " // VLAN
                    "23 01 "             // 291
                    "01 00 00 00"));     // of the inner tag
}

TEST(FilterStream, ReadsWhatWasPackedAndNoByteMore)
{
    for (Bytes const & stream : corpus()) {
        ktools::CMemoryBuffer buffer;
        buffer.Write(stream.data(), static_cast<int>(stream.size()));
        buffer.Write("rest", 4);

        Filter const filter(CFilter::UnpackNew(buffer));

        EXPECT_EQ(packedFilter(*filter), stream);
        EXPECT_EQ(buffer.size - buffer.readPosition, 4);
    }
}

TEST(FilterStream, UnpackReplacesAllOfAFilterOfTheSameKind)
{
    for (Bytes const & stream : corpus())
        EXPECT_EQ(fuzz::checkFilter(stream), "");
}

TEST(FilterStream, EveryCutIsRefusedAndChangesNothing)
{
    for (Bytes const & stream : corpus())
        for (std::size_t length = 0; length < stream.size(); ++length) {
            Bytes const part(stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(length));
            fuzz::ExactStream exact(part);
            EXPECT_FALSE(fuzz::reads([&] { Filter(CFilter::UnpackNew(exact.buffer)); })) << length;
            EXPECT_EQ(fuzz::checkFilter(part), "") << length;
        }
}

TEST(FilterStream, EveryFlippedBitIsHarmless)
{
    for (Bytes const & stream : corpus())
        for (std::size_t bit = 0; bit < stream.size() * 8; ++bit) {
            Bytes damaged = stream;
            damaged[bit / 8] = static_cast<unsigned char>(damaged[bit / 8] ^ 1U << bit % 8);
            EXPECT_EQ(fuzz::checkFilter(damaged), "") << bit;
        }
}

TEST(FilterStream, RandomFiltersComeBackAsTheyWere)
{
    RandomTraffic traffic(1);
    for (int i = 0; i < 500; ++i)
        EXPECT_EQ(fuzz::checkFilter(packedFilter(*traffic.filter())), "") << i;
}

TEST(FilterStream, RefusesWhatItDoesNotKnow)
{
    EXPECT_EQ(unpackRaises(bytes("00 00 00 00 00 00 06")).code, 2) << "kind 0";
    EXPECT_EQ(unpackRaises(bytes("0C 00 00 00 00 00 06")).code, 2) << "kind 12";
    EXPECT_EQ(unpackRaises(bytes("05 02 00 00 00 00 06")).code, 2) << "flag 2";
    EXPECT_EQ(unpackRaises(bytes("01 00 00 00 00 00 02 00 00 00 00 00 00 00")).code, 2) << "mode 2";
    EXPECT_EQ(unpackRaises(bytes("06 00 00 00 00 00 50 00 05 00 00 00 00 00 00 00")).code, 2) << "type 5";
    EXPECT_EQ(unpackRaises(bytes("06 00 00 00 00 00 50 00 03 00 00 00 01 00 00 00")).code, 2)
        << "operation 1";
    EXPECT_EQ(unpackRaises(bytes("07 00 00 00 00 00 0A 00 00 01 0C 00 00 00 01 00 00 00")).code, 2)
        << "operation 1";
    EXPECT_EQ(unpackRaises(bytes("05 00 00 00 00 00 06")), nothingRaised);
}

TEST(FilterStream, RefusesWhatItDoesNotKnowOfIPv6AndVlans)
{
    Bytes const address(16);
    EXPECT_EQ(unpackRaises(bytes("08 00 00 00 00 00") + address + bytes("08 00 00 00 01 00 00 00")).code, 2)
        << "operation 1";
    EXPECT_EQ(unpackRaises(bytes("0A 00 00 00 00 00 50 00 05 00 00 00 00 00 00 00")).code, 2) << "type 5";
    EXPECT_EQ(unpackRaises(bytes("0A 00 00 00 00 00 50 00 03 00 00 00 01 00 00 00")).code, 2)
        << "operation 1";
    EXPECT_EQ(unpackRaises(bytes("0B 00 00 00 00 00 00 10 00 00 00 00")).code, 2) << "identifier 4096";
    EXPECT_EQ(unpackRaises(bytes("0B 00 00 00 00 00 05 00 02 00 00 00")).code, 2) << "tag 2";
    EXPECT_EQ(unpackRaises(bytes("0B 00 00 00 00 00 FF 0F 01 00 00 00")), nothingRaised);
}

TEST(FilterStream, RefusesAFilterOfAnotherKind)
{
    Bytes const stream = packedFilter(*from(macA));
    ktools::CMemoryBuffer buffer(stream.data(), static_cast<int>(stream.size()));
    Filter const filter = to(macB);

    EXPECT_EQ(raisedBy<CFilter::CException>([&] { filter->Unpack(buffer); }).code, 2);

    EXPECT_EQ(packedFilter(*filter), packedFilter(*to(macB)));
}

TEST(FilterStream, AnEndThatComesTooEarlyIsTheBuffersToTell)
{
    EXPECT_EQ(
        raisedBy<ktools::CMemoryBuffer::CException>([] { unpackedFilter(bytes("05 00 00 00 00 00")); }).line,
        184);
}

TEST(FilterStream, ALengthOrCountBeyondTheEndIsRefusedBeforeMemoryIsTaken)
{
    EXPECT_EQ(unpackRaises(bytes("05 00 FF FF FF FF 06")).code, 2);
    EXPECT_EQ(unpackRaises(bytes("05 00 02 00 00 00 06")).code, 2);
    EXPECT_EQ(unpackRaises(bytes("01 00 00 00 00 00 00 00 00 00 FF FF FF FF")).code, 2);
    // Of two filters only the smallest that there is has room.
    EXPECT_EQ(unpackRaises(bytes("01 00 00 00 00 00 00 00 00 00 02 00 00 00 05 00 00 00 00 00 06")).code, 2);
    EXPECT_EQ(unpackRaises(bytes("01 00 00 00 00 00 00 00 00 00 01 00 00 00 05 00 00 00 00 00 06")),
              nothingRaised);
}

TEST(FilterStream, NestsAsDeepAsTheLimitAndNoDeeper)
{
    Filter const deepest = nested(CFilter::deepestNesting, from(macA));
    Bytes const stream = packedFilter(*deepest);
    Bytes const compoundOfOne = bytes("01 00 00 00 00 00 00 00 00 00 01 00 00 00");

    EXPECT_EQ(packedFilter(*unpackedFilter(stream)), stream);
    EXPECT_EQ(unpackRaises(compoundOfOne + stream).code, 2);
    EXPECT_EQ(unpackRaises(compoundOfOne + packedFilter(*from(macA))), nothingRaised);
}

TEST(FilterStream, ABombOfCompoundsIsRefused)
{
    Bytes bomb;
    for (int i = 0; i < 100000; ++i)
        bomb.insert(bomb.end(), {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0});

    EXPECT_EQ(unpackRaises(bomb).code, 2);
}

// What a stream may not hold doesn't get into one, also within a compound.
TEST(FilterStream, WhatCouldNotBeReadIsNotPacked)
{
    auto const strange = static_cast<eOperation>(1);
    auto const unknown = static_cast<CIPPortFilter::ePortType>(5);
    auto const tcp = CIPPortFilter::ptTCP;
    std::vector<Filter> refused;
    refused.push_back(std::make_unique<CIPPortFilter>(80, unknown, eoEqual, "", false));
    refused.push_back(std::make_unique<CIPPortFilter>(80, tcp, strange, "", false));
    refused.push_back(std::make_unique<CIPAddrFilter>(1U, 12U, strange, "", false));
    refused.push_back(std::make_unique<CIPv6AddrFilter>(CIPv6AddrFilter::CAddress(), 8U, strange, "", false));
    refused.push_back(std::make_unique<CIPv6PortFilter>(80, unknown, eoEqual, "", false));
    refused.push_back(std::make_unique<CIPv6PortFilter>(80, tcp, strange, "", false));
    refused.push_back(vlan(4096));
    refused.push_back(vlan(5, static_cast<CVlanFilter::eTag>(2)));
    for (std::size_t i = 0, count = refused.size(); i < count; ++i)
        refused.push_back(any(from(macA), all(to(macA), Filter(refused[i]->Clone()))));

    for (Filter const & filter : refused) {
        ktools::CMemoryBuffer buffer;
        EXPECT_EQ(raisedBy<CFilter::CException>([&] { filter->Pack(buffer); }).code, 1);
        EXPECT_EQ(buffer.size, 0);
    }
    Filter const mode = compound(static_cast<CCompoundFilter::eMode>(7), from(macA));
    EXPECT_EQ(unpackRaises(packedFilter(*mode)), nothingRaised)
        << "which counts as all, and is packed as that";
}

TEST(FilterStream, WhatIsNestedTooDeepIsNotPacked)
{
    Filter const tooDeep = nested(CFilter::deepestNesting + 1, from(macA));
    ktools::CMemoryBuffer buffer;

    EXPECT_EQ(raisedBy<CFilter::CException>([&] { tooDeep->Pack(buffer); }).code, 1);

    EXPECT_EQ(buffer.size, 0);
}

} // namespace
