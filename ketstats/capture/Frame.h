#pragma once

#include "ketstats/platform/Exports.h"

#include <cstring>

// A captured frame: a view of bytes that stay with whoever captured them.
//
// Two lengths belong to a frame. GetLength is its length on the wire; GetCapturedLength is how many bytes lie
// at GetData, which is less when the capture cut the frame, and can be more or even 0. Whatever the fields in
// a frame say, no byte outside the captured ones is ever read: what lies beyond reads as zero.
class KNDISLIB_API CFrame
{
public:
    CFrame(void const * data, unsigned int capturedLength, unsigned int length)
        : m_data(static_cast<unsigned char const *>(data)),
          m_capturedLength(capturedLength),
          m_length(length)
    {}
    virtual ~CFrame();

    virtual unsigned char const * GetData() const;
    virtual int GetLength() const;
    virtual unsigned int GetCapturedLength() const;

protected:
    CFrame(CFrame const &) = default;
    CFrame & operator=(CFrame const &) = default;

    unsigned char const * m_data;
    unsigned int m_capturedLength;
    unsigned int m_length;
};

// Reads of a run of captured bytes that never leave it: a byte at or behind its end reads as zero.
class CBoundedBytes
{
public:
    CBoundedBytes(unsigned char const * data, unsigned int count) : m_data(data), m_count(count) {}
    explicit CBoundedBytes(CFrame const & frame) : CBoundedBytes(frame.GetData(), frame.GetCapturedLength())
    {}

    // True if the `count` bytes from `offset` on all lie inside.
    bool holds(unsigned int offset, unsigned int count) const
    {
        return offset <= m_count && count <= m_count - offset;
    }

    unsigned char const * data() const { return m_data; }

    // Those from `offset` on, none of them if they end before it.
    CBoundedBytes from(unsigned int offset) const
    {
        unsigned int const skipped = offset < m_count ? offset : m_count;
        return {m_data + skipped, m_count - skipped};
    }

    unsigned char operator[](unsigned int offset) const { return offset < m_count ? m_data[offset] : 0; }

    // The two bytes at `offset` as a big-endian number.
    unsigned int word(unsigned int offset) const
    {
        if (holds(offset, 2)) [[likely]]
            return static_cast<unsigned int>(m_data[offset]) << 8 | m_data[offset + 1];
        return static_cast<unsigned int>(operator[](offset)) << 8;
    }

    // The bytes at `offset` as a number of this machine, as they lie.
    template <class Word>
    Word number(unsigned int offset) const
    {
        Word result = 0;
        copy<sizeof result>(offset, reinterpret_cast<unsigned char *>(&result));
        return result;
    }

    // Copies Count bytes from `offset` on.
    template <unsigned int Count>
    void copy(unsigned int offset, unsigned char * target) const
    {
        if (holds(offset, Count))
            std::memcpy(target, m_data + offset, Count);
        else
            for (unsigned int i = 0; i < Count; ++i)
                target[i] = operator[](offset + i);
    }

private:
    unsigned char const * m_data;
    unsigned int m_count;
};
