#include "host/support/ReplacedFile.h"

#include "host/support/Failure.h"

#include <fmt/core.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

namespace ketmon {

namespace {

// Where a link leads; any other path, and that of a link to nowhere, as it stands.
std::string behindLinks(std::string const & path)
{
    std::error_code error;
    if (!std::filesystem::is_symlink(path, error))
        return path;
    std::filesystem::path const target = std::filesystem::canonical(path, error);
    return error ? path : target.string();
}

// A name beside the file, under which to write until it can take its place. Empty for what can't be replaced.
std::string unfinishedName(std::string const & target)
{
    std::error_code error;
    auto const type = std::filesystem::symlink_status(target, error).type();
    if (type != std::filesystem::file_type::regular && type != std::filesystem::file_type::not_found)
        return "";
    std::string name = target + ".part";
    for (unsigned int number = 2; std::filesystem::exists(std::filesystem::symlink_status(name, error));
         ++number)
        name = fmt::format("{}.part{}", target, number);
    return name;
}

} // namespace

CReplacedFile::CUnfinished::~CUnfinished()
{
    std::error_code ignored;
    if (!path.empty())
        std::filesystem::remove(path, ignored);
}

CReplacedFile::CReplacedFile(std::string const & path)
    : m_path(path),
      m_target(behindLinks(path)),
      m_unfinished(unfinishedName(m_target))
{
    // To take the place of a file needs no right to write to it, so that is asked for here.
    if (!m_unfinished.path.empty() && !CFileHandle(std::fopen(m_target.c_str(), "r+b")) && errno != ENOENT) {
        m_unfinished.path.clear();
        fail(std::strerror(errno));
    }
    std::string const & written = m_unfinished.path.empty() ? m_target : m_unfinished.path;
    m_file.reset(std::fopen(written.c_str(), "wb"));
    if (!m_file) {
        m_unfinished.path.clear();
        fail(std::strerror(errno));
    }
}

void CReplacedFile::append(void const * bytes, std::size_t count)
{
    if (count != 0 && std::fwrite(bytes, 1, count, m_file.get()) != count)
        fail(std::strerror(errno));
}

void CReplacedFile::finish()
{
    // What is written late fails late, at the latest when the file is closed.
    if (std::fclose(m_file.release()) != 0)
        fail(std::strerror(errno));
    if (m_unfinished.path.empty())
        return;
    std::error_code error;
    std::filesystem::rename(m_unfinished.path, m_target, error);
    if (error)
        fail(error.message());
    m_unfinished.path.clear();
}

void CReplacedFile::fail(std::string const & reason) const
{
    throw CFailure(exitFailure, fmt::format("{}: can't be written: {}", m_path, reason));
}

} // namespace ketmon
