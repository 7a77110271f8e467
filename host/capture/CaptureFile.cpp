#include "host/capture/CaptureFile.h"

#include "host/capture/CaptureFormat.h"
#include "host/capture/ClassicReader.h"
#include "host/capture/FrameBlock.h"
#include "host/capture/GzipSource.h"
#include "host/capture/LinkType.h"
#include "host/capture/NextGenerationReader.h"
#include "host/support/Failure.h"
#include "host/support/Interrupt.h"

#include <fmt/core.h>

#include <atomic>
#include <exception>
#include <filesystem>
#include <optional>
#include <utility>

namespace ketmon {

namespace {

using Step = CFrameReader::Step;

std::unique_ptr<CFrameReader> readerOf(CByteInput & input)
{
    CByteInput::Bytes const magic = input.look(format::magicLength);
    if (magic.size() != format::magicLength)
        throw CDamagedCapture("the file is too short for a capture");
    if (CNextGenerationReader::starts(magic.data()))
        return std::make_unique<CNextGenerationReader>(input);
    for (std::endian const order : {std::endian::little, std::endian::big})
        if (CClassicReader::starts(magic.data(), format::CByteOrder(order)))
            return std::make_unique<CClassicReader>(input, format::CByteOrder(order));
    throw CDamagedCapture("unknown file format");
}

class CCaptureFile : public CCaptureSource
{
public:
    CCaptureFile(std::string const & path, FirstRead firstRead, CInterrupt const * interrupt)
        : m_path(path),
          m_interrupt(interrupt),
          m_input(std::make_unique<CByteInput>(openByteSource(path, interrupt)))
    {
        if (firstRead == FirstRead::toOpen)
            start();
    }

    bool next(CCapturedFrame & frame) override
    {
        if (!m_reader && !m_ended)
            start();
        if (m_waiting) {
            frame = *std::exchange(m_waiting, std::nullopt);
            ++m_frames;
            return true;
        }
        if (m_ended)
            return false;
        try {
            if (m_damage)
                std::rethrow_exception(std::exchange(m_damage, nullptr));
            while (read(frame) != Step::end)
                if (m_countable) {
                    ++m_frames;
                    return true;
                }
        } catch (CDamagedCapture const & damage) {
            m_ended = true;
            if (isInterrupted())
                return false;
            if (!damage.isCut() || !hasGrown())
                throw CFailure(exitBadInput, fmt::format("{}: damaged behind frame {}: {}", m_path, m_frames,
                                                         damage.what()));
            m_faults.unfinished.push_back(m_path);
        }
        m_ended = true;
        return false;
    }

    void nextBlock(CFrameBlock & block) override
    {
        CCaptureSource::nextBlock(block);
        if (block.size() == 0)
            return;
        CCapturedFrame frame{};
        try {
            while (!block.full() && m_reader->isAtHand()) {
                if (read(frame) != Step::frame || !m_countable)
                    continue;
                if (frame.linkType != block.linkType()) {
                    m_waiting = frame;
                    return;
                }
                ++m_frames;
                block.add(frame);
            }
        } catch (CDamagedCapture const &) {
            m_damage = std::current_exception(); // for whoever asks for what follows
        }
    }

    std::uint64_t position() const override
    {
        return m_compressed ? m_input->source().position() : m_input->position();
    }
    std::uint64_t size() const override { return m_input->size(); }
    std::optional<std::uint32_t> linkType() const override
    {
        std::uint32_t const known = m_linkType.load(std::memory_order_relaxed);
        return known == unknown ? std::nullopt : std::optional(known);
    }
    CSourceFaults faults() const override { return m_faults; }

private:
    // No file has such a link type.
    static constexpr std::uint32_t unknown = 0xFFFFFFFF;

    void start()
    {
        m_ended = true; // unless all goes well
        m_compressed = isGzip(*m_input);
        if (m_compressed)
            m_input = std::make_unique<CByteInput>(gzipSource(m_path, std::move(m_input)));
        try {
            m_reader = readerOf(*m_input);
            m_ended = !chooseMedia();
        } catch (CDamagedCapture const & damage) {
            if (!isInterrupted())
                throw CFailure(exitBadInput, fmt::format("{}: {}", m_path, damage.what()));
        }
    }

    bool isInterrupted() const { return m_interrupt && m_interrupt->raised(); }

    // A step of the reader, of whose frames those that can't be counted are left out.
    Step read(CCapturedFrame & frame)
    {
        Step const step = m_reader->next(frame);
        // Nearly always it is that of the frame before.
        if (std::uint32_t const number = m_reader->linkType(); number != m_number) {
            m_number = number;
            m_usual = usualLinkType(number);
            m_isCountable = isCountable(m_usual);
        }
        frame.linkType = m_usual;
        m_countable = step == Step::frame && m_isCountable && mediaFamily(m_usual) == m_family;
        if (step == Step::frame && !m_countable) {
            ++m_faults.leftOut[frame.linkType];
            ++m_frames;
        }
        return step;
    }

    // Ethernet, if one of the interfaces is that stand in front of the first frame of other media, and else
    // these. No frame of an interface stands in front of its description. Tells whether there is more to be
    // read.
    bool chooseMedia()
    {
        bool more = true;
        std::optional<std::uint32_t> first;
        std::optional<std::uint32_t> other;
        CCapturedFrame frame{};
        try {
            for (Step step = read(frame); step != Step::end; step = read(frame)) {
                if (m_countable) {
                    m_waiting = frame;
                    choose(frame.linkType);
                    return true;
                }
                if (step != Step::description)
                    continue;
                if (frame.linkType == linktype::ethernet) {
                    choose(frame.linkType);
                    return true;
                }
                first = first.value_or(frame.linkType);
                if (!other && isCountable(frame.linkType))
                    other = frame.linkType;
            }
            more = false;
        } catch (CDamagedCapture const &) {
            if (!other)
                throw;
            m_damage = std::current_exception(); // for whoever asks for the first frame
        }
        if (!other)
            throw CDamagedCapture(
                fmt::format("the link type is {}, which can't be counted", linkTypeText(first.value_or(0))));
        choose(*other);
        return more;
    }

    void choose(std::uint32_t linkType)
    {
        m_family = mediaFamily(linkType);
        m_linkType.store(linkType, std::memory_order_relaxed);
    }

    bool hasGrown() const
    {
        std::error_code error;
        std::uint64_t const now = std::filesystem::file_size(m_path, error);
        return !error && m_input->size() != 0 && now > m_input->size();
    }

    std::string m_path;
    CInterrupt const * m_interrupt;
    std::unique_ptr<CByteInput> m_input;
    std::unique_ptr<CFrameReader> m_reader;
    CSourceFaults m_faults;
    std::uint64_t m_frames = 0;       // of all link types
    bool m_countable = false;         // whether the frame that was read last is
    std::uint32_t m_number = unknown; // by which the file names the link type that was read last
    std::uint32_t m_usual = unknown;  // what it is called here, and whether frames of it are counted
    bool m_isCountable = false;
    MediaFamily m_family = MediaFamily::others; // of frames that are given
    std::atomic<std::uint32_t> m_linkType{unknown};
    std::optional<CCapturedFrame> m_waiting; // was read, and is the next to be given
    bool m_ended = false;
    std::exception_ptr m_damage; // found behind the frames that were given last
    bool m_compressed = false;
};

} // namespace

std::unique_ptr<CCaptureSource> openCaptureFile(std::string const & path)
{
    return openCaptureFile(path, FirstRead::toOpen, nullptr);
}

std::unique_ptr<CCaptureSource> openCaptureFile(std::string const & path, FirstRead firstRead,
                                                CInterrupt const * interrupt)
{
    return std::make_unique<CCaptureFile>(path, firstRead, interrupt);
}

} // namespace ketmon
