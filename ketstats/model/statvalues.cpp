#include "ketstats/model/statvalues.h"

#include "ketstats/platform/Clock.h"

#include <algorithm>
#include <atomic>
#include <cmath>

namespace KetStats {

unsigned int percentVal::hundredths() const
{
    // What no 64-bit integer holds, not-a-number and the infinities among it, counts as 0.
    double const scaled = value * 100.0;
    constexpr double limit = 9223372036854775808.0;
    if (!(std::fabs(scaled) < limit))
        return 0;
    return static_cast<unsigned int>(static_cast<long long>(scaled));
}

void COid::assign(std::string const & text)
{
    auto const fail = [this](int line) {
        m_components.clear();
        ktools::raise<CException>(1, "statvalues", line);
    };

    m_components.clear();
    unsigned short value = 0;
    bool digitSeen = false;
    for (char const c : text) {
        if (c >= '0' && c <= '9') {
            value = static_cast<unsigned short>(value * 10 + (c - '0'));
            digitSeen = true;
        } else if (c != '.') {
            fail(54);
        } else if (digitSeen) {
            m_components.push_back(value);
            value = 0;
            digitSeen = false;
        } else {
            fail(47);
        }
    }
    // A dot at the end is accepted: nothing is pending then.
    if (digitSeen)
        m_components.push_back(value);
    if (m_components.empty())
        fail(62);
}

std::string COid::toString() const
{
    std::string text;
    for (unsigned short const component : m_components) {
        if (!text.empty())
            text += '.';
        text += std::to_string(component);
    }
    return text;
}

int COid::compare(COid const & other) const
{
    auto const & left = m_components;
    auto const & right = other.m_components;
    if (std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end()))
        return -1;
    return left == right ? 0 : 1;
}

bool CIPAddress::operator<(CIPAddress const & other) const
{
    auto const octets = [](CIPAddress const & address) {
        return reinterpret_cast<unsigned char const *>(&address.m_address);
    };
    return std::lexicographical_compare(octets(*this), octets(*this) + 4, octets(other), octets(other) + 4);
}

CProtocolIdPacked::operator long long() const
{
    long long number = 0;
    for (unsigned char const byte : bytes)
        number = number << 8 | byte;
    return number;
}

namespace {

std::atomic<long long (*)()> timeSource{nullptr};

} // namespace

void CSystemTime::getSystemTime()
{
    auto const source = timeSource.load();
    m_time = source ? platform::timeOf(source()) : platform::currentTime();
    m_ticks = platform::ticksOf(m_time);
}

void CSystemTime::setSource(long long (*ticks)())
{
    timeSource.store(ticks);
}

} // namespace KetStats
