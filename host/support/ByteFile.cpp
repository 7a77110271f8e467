#include "host/support/ByteFile.h"

#include "host/support/Failure.h"

#include <fmt/core.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

namespace ketmon {

namespace {

constexpr std::size_t step = std::size_t{1} << 18;

[[noreturn]] void fail(std::string const & path, int error)
{
    throw CFailure(exitBadInput, fmt::format("{}: {}", path, std::strerror(error)));
}

} // namespace

CByteFile::CByteFile(std::string const & path) : m_path(path)
{
    std::error_code error;
    if (std::filesystem::is_directory(path, error))
        throw CFailure(exitBadInput, fmt::format("{}: is a directory", path));
    m_size = std::filesystem::file_size(path, error);
    if (error)
        m_size = 0;
    m_file.reset(std::fopen(path.c_str(), "rb"));
    if (!m_file)
        fail(path, errno);
}

std::size_t CByteFile::read(unsigned char * bytes, std::size_t count)
{
    std::size_t const got = std::fread(bytes, 1, count, m_file.get());
    if (got != count && std::ferror(m_file.get()) != 0)
        fail(m_path, errno);
    m_position += got;
    return got;
}

std::size_t CByteFile::read(std::vector<unsigned char> & bytes, std::size_t count)
{
    std::size_t total = 0;
    while (total < count) {
        std::size_t const wanted = std::min(step, count - total);
        if (bytes.size() < total + wanted)
            bytes.resize(total + wanted);
        std::size_t const got = read(bytes.data() + total, wanted);
        total += got;
        if (got != wanted)
            break;
    }
    return total;
}

std::size_t CByteFile::skip(std::size_t count)
{
    unsigned char block[4096];
    std::size_t total = 0;
    while (total < count) {
        std::size_t const wanted = std::min(sizeof block, count - total);
        std::size_t const got = read(block, wanted);
        total += got;
        if (got != wanted)
            break;
    }
    return total;
}

} // namespace ketmon
