#pragma once

#include <cstdio>
#include <memory>

namespace ketmon {

struct CFileCloser
{
    void operator()(std::FILE * file) const { std::fclose(file); }
};

using CFileHandle = std::unique_ptr<std::FILE, CFileCloser>;

} // namespace ketmon
