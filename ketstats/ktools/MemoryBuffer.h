#pragma once

#include "ketstats/ktools/Exception.h"
#include "ketstats/platform/Exports.h"

#include <climits>
#include <cstring>
#include <memory>
#include <vector>

namespace ktools {

// A growing array of bytes with a read cursor of its own: the carrier of every transfer. Byte order and
// framing are decided by the callers; the buffer has no typed operations.
//
//     data --> [ read already | unread        | free                    ]
//              0              readPosition    size                      capacity
//
// Invariant in use: 0 <= readPosition <= size <= capacity. The fields are public: a reader may take
// `size - readPosition` as the number of bytes that remain, a sender hands out `data` and `size`.
// A buffer belongs to one caller at a time; it has no lock.
class KETSTATS_TYPE CMemoryBuffer
{
public:
    class KETSTATS_TYPE CException : public ktools::CException
    {
    public:
        using ktools::CException::CException;
    };

    // Empty and growable, without storage yet.
    CMemoryBuffer() : CMemoryBuffer(0, true) {}

    // A copy of `count` received bytes, ready to be read; not growable. Throws CException 1/34 for a negative
    // count.
    CMemoryBuffer(void const * bytes, int count) : CMemoryBuffer(count, false)
    {
        if (count < 0)
            raise<CException>(1, "MemoryBuffer", 34);
        Write(bytes, count);
    }

    // Empty, with room for `theCapacity` bytes.
    CMemoryBuffer(int theCapacity, bool isGrowable)
        : data(theCapacity > 0 ? new unsigned char[static_cast<std::size_t>(theCapacity)] : nullptr),
          capacity(theCapacity > 0 ? theCapacity : 0),
          size(0),
          readPosition(0),
          ownsData(true),
          growable(isGrowable)
    {}

    CMemoryBuffer(CMemoryBuffer const &) = delete;
    CMemoryBuffer & operator=(CMemoryBuffer const &) = delete;

    ~CMemoryBuffer()
    {
        if (ownsData)
            delete[] data;
    }

    // Appends `count` bytes (0 or more). Throws CException 1/131, with the buffer as it was, if they don't
    // fit into a buffer that isn't growable.
    void Write(void const * source, int count)
    {
        if (count > capacity - size)
            grow(count);
        if (count > 0)
            std::memcpy(data + size, source, static_cast<std::size_t>(count));
        size += count;
    }

    // Copies the next `count` unread bytes (0 or more) to `target` and moves the cursor on. Throws
    // CException 1/184 if fewer remain and 1/187 if the cursor stands behind the end; target and cursor stay
    // as they were then.
    void Read(void * target, int count)
    {
        int const remaining = size - readPosition;
        if (remaining < 0)
            raise<CException>(1, "MemoryBuffer", 187);
        if (count > remaining)
            raise<CException>(1, "MemoryBuffer", 184);
        if (count > 0)
            std::memcpy(target, data + readPosition, static_cast<std::size_t>(count));
        readPosition += count;
    }

    unsigned char * data; // the storage
    int capacity;         // bytes allocated at data
    int size;             // bytes written so far; Write appends here
    int readPosition;     // offset of the byte that Read yields next
    bool ownsData;        // whether the destructor releases data
    bool growable;        // whether Write may replace the storage by a larger one

private:
    // Storage grows to multiples of this many bytes, strictly above what is needed.
    static constexpr int growthStep = 5000;

    void grow(int count)
    {
        if (!growable || count > INT_MAX - growthStep - size)
            raise<CException>(1, "MemoryBuffer", 131);
        int const newCapacity = ((size + count) / growthStep + 1) * growthStep;
        std::unique_ptr<unsigned char[]> storage(new unsigned char[static_cast<std::size_t>(newCapacity)]);
        if (size != 0)
            std::memcpy(storage.get(), data, static_cast<std::size_t>(size));
        if (ownsData && data) {
            // A buffer without content only takes the new storage: the old one stays readable for whoever
            // still looks at it, and is released with the buffer.
            if (size == 0)
                m_replaced.emplace_back(data);
            else
                delete[] data;
        }
        data = storage.release();
        ownsData = true;
        capacity = newCapacity;
    }

    std::vector<std::unique_ptr<unsigned char[]>> m_replaced;
};

} // namespace ktools
