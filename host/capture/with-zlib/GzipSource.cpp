#include "host/capture/GzipSource.h"

#include "host/capture/FrameReader.h"

#include <zlib.h>

#include <algorithm>
#include <limits>
#include <new>
#include <optional>

namespace ketmon {

namespace {

constexpr std::size_t block = std::size_t{1} << 16;
constexpr int gzipOnly = 16; // added to the size of the window, it refuses zlib's other format

class CGzipSource : public CByteSource
{
public:
    explicit CGzipSource(std::unique_ptr<CByteInput> compressed) : m_compressed(std::move(compressed))
    {
        if (inflateInit2(&m_stream, MAX_WBITS + gzipOnly) != Z_OK)
            throw std::bad_alloc();
    }

    ~CGzipSource() override { inflateEnd(&m_stream); }

    std::size_t read(unsigned char * bytes, std::size_t most) override
    {
        if (m_damage)
            throw *m_damage;
        m_stream.next_out = bytes;
        m_stream.avail_out = static_cast<uInt>(std::min<std::size_t>(most, std::numeric_limits<uInt>::max()));
        uInt const room = m_stream.avail_out;
        while (m_stream.avail_out == room && !m_damage && (m_open || startNext()))
            step();
        std::size_t const got = room - m_stream.avail_out;
        if (got == 0 && m_damage)
            throw *m_damage;
        return got;
    }

    std::uint64_t position() const override { return m_compressed->position(); }
    std::uint64_t size() const override { return m_compressed->size(); }

private:
    void step()
    {
        if (m_stream.avail_in == 0)
            feed();
        if (m_stream.avail_in == 0) {
            m_damage = cutCapture("the compressed data ends early");
            return;
        }
        switch (inflate(&m_stream, Z_NO_FLUSH)) {
        case Z_STREAM_END:
            m_open = false;
            break;
        case Z_OK:
            break;
        case Z_MEM_ERROR:
            throw std::bad_alloc();
        default:
            m_damage = CDamagedCapture("the compressed data is damaged");
        }
    }

    // Behind the end of one piece: whether there is another. Some tapes and tools fill up with zeros.
    bool startNext()
    {
        for (;;) {
            if (m_stream.avail_in == 0)
                feed();
            if (m_stream.avail_in == 0)
                return false;
            if (*m_stream.next_in != 0)
                break;
            ++m_stream.next_in;
            --m_stream.avail_in;
        }
        m_open = true;
        return inflateReset(&m_stream) == Z_OK;
    }

    void feed()
    {
        CByteInput::Bytes const bytes = m_compressed->some(block);
        m_stream.next_in = const_cast<unsigned char *>(bytes.data()); // zlib only reads it
        m_stream.avail_in = static_cast<uInt>(bytes.size());
    }

    std::unique_ptr<CByteInput> m_compressed;
    z_stream m_stream{};
    bool m_open = true; // within a piece
    std::optional<CDamagedCapture> m_damage;
};

} // namespace

std::unique_ptr<CByteSource> gzipSource(std::string const & /*name*/, std::unique_ptr<CByteInput> compressed)
{
    return std::make_unique<CGzipSource>(std::move(compressed));
}

} // namespace ketmon
