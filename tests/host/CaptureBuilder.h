#pragma once

#include <bit>
#include <cstdint>
#include <string>

namespace test {

// Numbers in one byte order, one behind the other.
class Numbers
{
public:
    explicit Numbers(std::endian order) : m_order(order) {}

    Numbers & two(std::uint64_t value) { return put(value, 2); }
    Numbers & four(std::uint64_t value) { return put(value, 4); }
    Numbers & eight(std::uint64_t value) { return put(value, 8); }

    std::string const & bytes() const { return m_bytes; }

private:
    Numbers & put(std::uint64_t value, unsigned int count);

    std::endian m_order;
    std::string m_bytes;
};

// Builds capture files of the classic format. What a test is about, it sets.
struct ClassicBuilder
{
    std::string header() const;
    // `extra` stands between the header of the record and the data.
    std::string record(std::uint32_t seconds, std::uint32_t fraction, std::string const & data,
                       std::string const & extra = "") const;
    // The same with lengths of its own.
    std::string record(std::uint32_t seconds, std::uint32_t fraction, std::uint32_t captured,
                       std::uint32_t length, std::string const & data) const;

    std::endian order = std::endian::little;
    std::uint32_t magic = 0xA1B2C3D4;
    unsigned int major = 2;
    unsigned int minor = 4;
    std::uint32_t limit = 65535;
    std::uint32_t linkType = 1;
};

// Builds blocks of the next generation's format.
struct BlockBuilder
{
    std::string block(std::uint32_t type, std::string const & body) const;
    std::string section(unsigned int major = 1, unsigned int minor = 0,
                        std::string const & options = "") const;
    std::string interface(std::string const & options = "", std::uint32_t limit = 65535,
                          unsigned int linkType = 1) const;
    std::string option(unsigned int code, std::string const & value) const;
    std::string endOfOptions() const { return option(0, ""); }
    std::string resolution(unsigned char value) const
    {
        return option(9, std::string(1, static_cast<char>(value)));
    }
    std::string offset(long long seconds) const;
    std::string enhanced(std::uint64_t stamp, std::string const & data,
                         std::uint32_t interfaceIndex = 0) const;
    // With lengths of its own.
    std::string enhanced(std::uint64_t stamp, std::uint32_t captured, std::uint32_t length,
                         std::string const & data, std::uint32_t interfaceIndex = 0) const;
    std::string simple(std::uint32_t length, std::string const & data) const;
    std::string obsolete(std::uint64_t stamp, std::string const & data,
                         unsigned int interfaceIndex = 0) const;

    std::endian order = std::endian::little;
};

} // namespace test
