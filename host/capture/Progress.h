#pragma once

#include "host/capture/CaptureSource.h"

#include <chrono>
#include <string>

namespace ketmon {

// A line on stderr that tells how far the reading of a long input has come. It keeps quiet for inputs of up
// to 64 MiB, where stderr isn't a terminal, and when it is told to.
class CProgress
{
public:
    CProgress(std::string const & name, CCaptureSource const & source, bool quiet);
    ~CProgress();

    CProgress(CProgress const &) = delete;
    CProgress & operator=(CProgress const &) = delete;

    // Called behind so many frames; rewrites the line now and then.
    void step(std::size_t frames)
    {
        m_frames += frames;
        if (m_shown && m_frames >= framesAtOnce) {
            m_frames = 0;
            show();
        }
    }

private:
    static constexpr std::size_t framesAtOnce = 4096;

    void show();

    std::string m_name;
    CCaptureSource const & m_source;
    bool m_shown;
    bool m_written = false;
    std::size_t m_frames = 0; // since the clock was asked
    std::chrono::steady_clock::time_point m_next{};
};

} // namespace ketmon
