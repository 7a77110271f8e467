#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace ketmon {

struct CFileCloser
{
    void operator()(std::FILE * file) const { std::fclose(file); }
};

using CFileHandle = std::unique_ptr<std::FILE, CFileCloser>;

// A file that is read from its first byte to its last, of any size; also a pipe.
class CByteFile
{
public:
    // Throws CFailure, exit code 2, for a directory and for what can't be opened.
    explicit CByteFile(std::string const & path);

    // Reads so many bytes; less only at the end of the file. Throws CFailure, exit code 2, for a file that
    // can't be read on.
    std::size_t read(unsigned char * bytes, std::size_t count);
    // The same into `bytes`, which is made longer where it must be, but only as far as there is something to
    // read, whatever a damaged file claims.
    std::size_t read(std::vector<unsigned char> & bytes, std::size_t count);
    // The same, without keeping the bytes.
    std::size_t skip(std::size_t count);

    std::string const & path() const { return m_path; }
    // Bytes read so far and bytes there are; both 0 for a pipe.
    std::uint64_t position() const { return m_size == 0 ? 0 : m_position; }
    std::uint64_t size() const { return m_size; }

private:
    std::string m_path;
    CFileHandle m_file;
    std::uint64_t m_size = 0;
    std::uint64_t m_position = 0; // counted here: the file's own is 32 bits wide on some systems
};

} // namespace ketmon
