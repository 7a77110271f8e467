#include "host/render/Names.h"
#include "host/render/ProtocolNames.h"
#include "host/render/SystemNames.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

using namespace ketmon;

namespace {

TEST(ProtocolNames, AreThoseOfTheRegistries)
{
    EXPECT_EQ(protocolName(0x0800), "IPv4");
    EXPECT_EQ(protocolName(0x0806), "ARP");
    EXPECT_EQ(protocolName(0x86DD), "IPv6");
    EXPECT_EQ(protocolName(0x42), "Spanning Tree");
    EXPECT_EQ(protocolName(0x1234), "");
    EXPECT_EQ(protocolName(0xFFFFFFFF), "");
    EXPECT_EQ(ipProtocolName(6), "TCP");
    EXPECT_EQ(ipProtocolName(17), "UDP");
    EXPECT_EQ(ipProtocolName(254), "Experimental 2") << "the last one";
    EXPECT_EQ(ipProtocolName(200), "");
}

TEST(Names, AreNoneUnlessSomebodyGivesThem)
{
    CNames const names;

    EXPECT_EQ(names.service(CTransport::tcp, 80), "");
    EXPECT_EQ(names.protocol(0x0800), "");
    EXPECT_EQ(names.ipProtocol(6), "");
    EXPECT_EQ(names.vendor("00:00:0c:00:00:00"), "");
    EXPECT_EQ(names.host("10.0.0.1"), "");
}

// The first name of a port in the system's own file, which may be missing.
TEST(SystemNames, CallServicesAsTheSystemDoes)
{
    std::ifstream file("/etc/services");
    std::size_t compared = 0;
    std::set<std::string> known;
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line.substr(0, line.find('#')));
        std::string name;
        std::string port;
        if (!(words >> name >> port) || !known.insert(port).second)
            continue;
        bool const tcp = port.ends_with("/tcp");
        if (!tcp && !port.ends_with("/udp"))
            continue;
        EXPECT_EQ(CSystemNames().service(tcp ? CTransport::tcp : CTransport::udp,
                                         static_cast<std::uint32_t>(std::stoul(port))),
                  name)
            << line;
        ++compared;
    }
    EXPECT_EQ(CSystemNames().service(CTransport::tcp, 65535), "");
    EXPECT_EQ(CSystemNames().service(CTransport::tcp, 65536 + 80), "");
    if (compared == 0)
        GTEST_SKIP() << "there is no /etc/services";
}

TEST(SystemNames, KnowTheHostsThatTheyWereGiven)
{
    CSystemNames names;
    names.setHosts({{"10.0.0.1", "router.example"}});

    EXPECT_EQ(names.host("10.0.0.1"), "router.example");
    EXPECT_EQ(names.host("10.0.0.2"), "");
    EXPECT_EQ(names.protocol(0x0800), "IPv4");
    EXPECT_EQ(names.ipProtocol(6), "TCP");
}

TEST(AskedNames, RememberEachHostOnceInTheOrderOfTheQuestions)
{
    CAskedNames const names;

    EXPECT_EQ(names.host("10.0.0.2"), "");
    EXPECT_EQ(names.host("10.0.0.1"), "");
    EXPECT_EQ(names.host("10.0.0.2"), "");

    EXPECT_THAT(names.hosts(), testing::ElementsAre("10.0.0.2", "10.0.0.1"));
}

} // namespace
