#include "host/wire/SnapshotFiles.h"

#include "host/support/ByteFile.h"
#include "host/support/Failure.h"

#include <fmt/core.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace ketmon {

void saveSnapshot(std::string const & path, std::string_view bytes)
{
    CFileHandle file(std::fopen(path.c_str(), "wb"));
    bool const written = file && std::fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size() &&
                         std::fflush(file.get()) == 0;
    if (!written)
        throw CFailure(exitFailure, fmt::format("{}: can't be written: {}", path, std::strerror(errno)));
}

std::string loadSnapshot(std::string const & path)
{
    CFileHandle const file(std::fopen(path.c_str(), "rb"));
    std::string bytes;
    char block[1 << 16];
    if (file)
        while (std::size_t const count = std::fread(block, 1, sizeof block, file.get()))
            bytes.append(block, count);
    if (!file || std::ferror(file.get()) != 0)
        throw CFailure(exitBadInput, fmt::format("{}: {}", path, std::strerror(errno)));
    return bytes;
}

} // namespace ketmon
