#include "host/render/HostNames.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace ketmon;
using namespace std::chrono_literals;

namespace {

// A name server on the loopback that answers each question for a pointer with "host-N.example", N being the
// first label of what is asked for, which is the last byte of the address; or one that is silent.
class NameServer
{
public:
    explicit NameServer(bool answers) : m_socket(socket(AF_INET, SOCK_DGRAM, 0)), m_answers(answers)
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(bind(m_socket, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
        socklen_t length = sizeof address;
        EXPECT_EQ(getsockname(m_socket, reinterpret_cast<sockaddr *>(&address), &length), 0);
        m_port = ntohs(address.sin_port);
        m_thread = std::thread([this] { serve(); });
    }
    ~NameServer()
    {
        m_end = true;
        m_thread.join();
        close(m_socket);
    }
    NameServer(NameServer const &) = delete;
    NameServer & operator=(NameServer const &) = delete;

    std::string at() const { return "127.0.0.1:" + std::to_string(m_port); }
    int questions() const { return m_questions; }

private:
    void serve()
    {
        while (!m_end) {
            pollfd wait{m_socket, POLLIN, 0};
            if (poll(&wait, 1, 20) <= 0)
                continue;
            char question[512];
            sockaddr_in from{};
            socklen_t length = sizeof from;
            ssize_t const size = recvfrom(m_socket, question, sizeof question, 0,
                                          reinterpret_cast<sockaddr *>(&from), &length);
            ++m_questions;
            if (size < 17 || !m_answers)
                continue;
            std::string const answer = answerTo(std::string(question, static_cast<std::size_t>(size)));
            sendto(m_socket, answer.data(), answer.size(), 0, reinterpret_cast<sockaddr *>(&from), length);
        }
    }

    static std::string answerTo(std::string question)
    {
        std::string const label = question.substr(13, static_cast<unsigned char>(question[12]));
        std::size_t end = 12;
        while (question[end] != 0)
            end += 1 + static_cast<unsigned char>(question[end]);
        question.resize(end + 5); // header and question, without what may follow
        question[2] = '\x81';     // an answer, with recursion asked for
        question[3] = '\x80';     // and had
        question.replace(6, 6, std::string("\0\1\0\0\0\0", 6));
        std::string const host = "host-" + label;
        std::string const name =
            static_cast<char>(host.size()) + host + '\7' + "example" + std::string(1, '\0');
        return question + std::string("\xC0\x0C\0\x0C\0\1\0\0\0\x3C\0", 11) + static_cast<char>(name.size()) +
               name;
    }

    int m_socket;
    bool m_answers;
    unsigned int m_port = 0;
    std::atomic<bool> m_end = false;
    std::atomic<int> m_questions = 0;
    std::thread m_thread;
};

bool never()
{
    return false;
}

class HostNames : public testing::Test
{
protected:
    void SetUp() override
    {
        if (hostNameResolver().empty())
            GTEST_SKIP() << "built without the DNS";
    }
};

TEST_F(HostNames, ComeFromTheDns)
{
    NameServer const server(true);

    auto const names = hostNames({"10.0.0.7", "192.168.1.8", "no address"}, {5s, 256, server.at()}, never);

    EXPECT_EQ(names, (std::map<std::string, std::string>{{"10.0.0.7", "host-7.example"},
                                                         {"192.168.1.8", "host-8.example"}}));
}

TEST_F(HostNames, OfIPv6ComeFromTheDns)
{
    NameServer const server(true);

    auto const names = hostNames({"2001:db8::7", "::1", "2001:db8::g"}, {5s, 256, server.at()}, never);

    EXPECT_EQ(names, (std::map<std::string, std::string>{{"2001:db8::7", "host-7.example"},
                                                         {"::1", "host-1.example"}}));
}

TEST_F(HostNames, AreAskedForOnlyTheFirstSoManyAddresses)
{
    NameServer const server(true);
    std::vector<std::string> addresses;
    for (int i = 1; i <= 100; ++i)
        addresses.push_back("10.0.0." + std::to_string(i));

    auto const names = hostNames(addresses, {5s, 60, server.at()}, never);

    EXPECT_EQ(names.size(), 60U);
    EXPECT_EQ(names.count("10.0.0.60"), 1U);
    EXPECT_EQ(names.count("10.0.0.61"), 0U);
}

TEST_F(HostNames, AreNotWaitedForLongerThanAllowed)
{
    NameServer const server(false);
    auto const start = std::chrono::steady_clock::now();

    auto const names = hostNames({"10.0.0.7", "10.0.0.8"}, {300ms, 256, server.at()}, never);

    EXPECT_TRUE(names.empty());
    EXPECT_GE(server.questions(), 1);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 3s);
}

TEST_F(HostNames, AreGivenUpAtOnceWhenStopped)
{
    NameServer const server(false);
    auto const start = std::chrono::steady_clock::now();

    auto const names =
        hostNames({"10.0.0.7"}, {60s, 256, server.at()}, [&] { return server.questions() > 0; });

    EXPECT_TRUE(names.empty());
    EXPECT_LT(std::chrono::steady_clock::now() - start, 30s);
}

TEST_F(HostNames, OfNothingNeedNobody)
{
    EXPECT_TRUE(hostNames({}, {5s, 256, "127.0.0.1:1"}, never).empty());
}

} // namespace
