#include "tests/host/CaptureBuilder.h"

namespace test {

namespace {

std::string padded(std::string bytes)
{
    bytes.resize((bytes.size() + 3) / 4 * 4);
    return bytes;
}

} // namespace

Numbers & Numbers::put(std::uint64_t value, unsigned int count)
{
    for (unsigned int i = 0; i < count; ++i)
        m_bytes += static_cast<char>(value >> 8 * (m_order == std::endian::big ? count - 1 - i : i));
    return *this;
}

std::string ClassicBuilder::header() const
{
    return Numbers(order).four(magic).two(major).two(minor).eight(0).four(limit).four(linkType).bytes();
}

std::string ClassicBuilder::record(std::uint32_t seconds, std::uint32_t fraction, std::string const & data,
                                   std::string const & extra) const
{
    auto const length = static_cast<std::uint32_t>(data.size());
    return record(seconds, fraction, length, length, extra + data);
}

std::string ClassicBuilder::record(std::uint32_t seconds, std::uint32_t fraction, std::uint32_t captured,
                                   std::uint32_t length, std::string const & data) const
{
    return Numbers(order).four(seconds).four(fraction).four(captured).four(length).bytes() + data;
}

std::string BlockBuilder::block(std::uint32_t type, std::string const & body) const
{
    std::size_t const length = body.size() + 12;
    return Numbers(order).four(type).four(length).bytes() + body + Numbers(order).four(length).bytes();
}

std::string BlockBuilder::section(unsigned int major, unsigned int minor, std::string const & options) const
{
    constexpr std::uint64_t unknownLength = ~std::uint64_t{0};
    return block(0x0A0D0D0A,
                 Numbers(order).four(0x1A2B3C4D).two(major).two(minor).eight(unknownLength).bytes() +
                     options);
}

std::string BlockBuilder::interface(std::string const & options, std::uint32_t limit,
                                    unsigned int linkType) const
{
    return block(1, Numbers(order).two(linkType).two(0).four(limit).bytes() + options);
}

std::string BlockBuilder::option(unsigned int code, std::string const & value) const
{
    return Numbers(order).two(code).two(value.size()).bytes() + padded(value);
}

std::string BlockBuilder::offset(long long seconds) const
{
    return option(14, Numbers(order).eight(static_cast<std::uint64_t>(seconds)).bytes());
}

std::string BlockBuilder::enhanced(std::uint64_t stamp, std::string const & data,
                                   std::uint32_t interfaceIndex) const
{
    auto const length = static_cast<std::uint32_t>(data.size());
    return enhanced(stamp, length, length, data, interfaceIndex);
}

std::string BlockBuilder::enhanced(std::uint64_t stamp, std::uint32_t captured, std::uint32_t length,
                                   std::string const & data, std::uint32_t interfaceIndex) const
{
    return block(6, Numbers(order)
                            .four(interfaceIndex)
                            .four(stamp >> 32)
                            .four(stamp)
                            .four(captured)
                            .four(length)
                            .bytes() +
                        padded(data));
}

std::string BlockBuilder::simple(std::uint32_t length, std::string const & data) const
{
    return block(3, Numbers(order).four(length).bytes() + padded(data));
}

std::string BlockBuilder::obsolete(std::uint64_t stamp, std::string const & data,
                                   unsigned int interfaceIndex) const
{
    return block(2, Numbers(order)
                            .two(interfaceIndex)
                            .two(0)
                            .four(stamp >> 32)
                            .four(stamp)
                            .four(data.size())
                            .four(data.size())
                            .bytes() +
                        padded(data));
}

} // namespace test
