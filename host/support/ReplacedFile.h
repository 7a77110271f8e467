#pragma once

#include "host/support/FileHandle.h"

#include <cstddef>
#include <string>

namespace ketmon {

// A file that is written whole or not at all.
//
// 1. Under its name it stands only when it is whole: until `finish` the bytes go to another beside it, with
//    ".part" behind its name, which is gone if the object ends without `finish`. What was there before stays
//    until then.
// 2. What has that other name already stays as it is; ".part2" and so on are tried then.
// 3. Of a link it is the file behind it that is replaced. A file that is protected against writing isn't.
// 4. Devices and pipes are written to directly, and so is what a link leads to that isn't there yet.
class CReplacedFile
{
public:
    // This and the other operations throw CFailure, exit code 1, for what can't be written.
    explicit CReplacedFile(std::string const & path);

    void append(void const * bytes, std::size_t count);

    // Makes the file whole. Nothing may be written behind it.
    void finish();

    // As it was given.
    std::string const & path() const { return m_path; }

private:
    // The name of a file that is removed with it, if there is one.
    struct CUnfinished
    {
        explicit CUnfinished(std::string const & name) : path(name) {}
        ~CUnfinished();
        CUnfinished(CUnfinished const &) = delete;
        CUnfinished & operator=(CUnfinished const &) = delete;

        std::string path;
    };

    [[noreturn]] void fail(std::string const & reason) const;

    std::string m_path;
    std::string m_target; // the same behind all links
    CUnfinished m_unfinished;
    CFileHandle m_file; // is closed before the file is removed, as some systems want it
};

} // namespace ketmon
