#include "host/capture/CaptureFiles.h"

#include "host/capture/FrameBlock.h"
#include "host/support/ByteSource.h"
#include "host/support/Failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <utility>

namespace ketmon {

struct CCaptureFiles::CFile
{
    std::string path;
    std::size_t number;
    std::unique_ptr<CCaptureSource> source; // null while it isn't open
    CCapturedFrame frame{};                 // the one that comes next; of a file that isn't open, its time

    static bool isLater(CFile const * one, CFile const * other)
    {
        return one->frame.ticks != other->frame.ticks ? one->frame.ticks > other->frame.ticks
                                                      : one->number > other->number;
    }
};

namespace {

void add(CSourceFaults & all, CSourceFaults const & more)
{
    all.damage.insert(all.damage.end(), more.damage.begin(), more.damage.end());
    all.unfinished.insert(all.unfinished.end(), more.unfinished.begin(), more.unfinished.end());
    for (auto const & [type, frames] : more.leftOut)
        all.leftOut[type] += frames;
}

bool canBeOpenedAgain(std::string const & path)
{
    std::error_code error;
    return path != standardInput && std::filesystem::is_regular_file(path, error);
}

} // namespace

CCaptureFiles::CCaptureFiles(std::vector<std::string> const & paths, FirstRead ofPipes)
{
    if (std::count(paths.begin(), paths.end(), standardInput) > 1)
        throw CFailure(exitBadInput, "-: the standard input can be read only once");
    bool some = false;
    for (std::string const & path : paths) {
        m_files.push_back(std::make_unique<CFile>(CFile{path, m_files.size(), nullptr, {}}));
        CFile & file = *m_files.back();
        FirstRead const firstRead = canBeOpenedAgain(path) ? FirstRead::toOpen : ofPipes;
        if (!open(file, firstRead))
            continue;
        some = true;
        if (firstRead == FirstRead::byNext) {
            m_unread.push_back(&file);
            continue;
        }
        m_size += file.source->size();
        choose(file);
        advance(file);
        // What was seen behind its first frame is seen again when its time has come.
        if (paths.size() > 1 && file.source && canBeOpenedAgain(path))
            file.source.reset();
    }
    if (!some)
        throw CFailure(exitBadInput, fmt::format("{}", fmt::join(m_faults.damage, "; ")));
}

CCaptureFiles::~CCaptureFiles() = default;

bool CCaptureFiles::next(CCapturedFrame & frame)
{
    if (m_given)
        advance(*std::exchange(m_given, nullptr));
    for (CFile * const file : std::exchange(m_unread, {}))
        advance(*file);
    if (!m_waiting.empty() && m_linkType == unknown)
        choose(*m_waiting.front());
    while (!m_waiting.empty() && !m_interrupt.raised()) {
        std::pop_heap(m_waiting.begin(), m_waiting.end(), CFile::isLater);
        CFile & file = *m_waiting.back();
        m_waiting.pop_back();
        if (!file.source) {
            if (open(file, FirstRead::toOpen))
                advance(file);
        } else if (isLeftOut(file.frame.linkType)) {
            ++m_faults.leftOut[file.frame.linkType];
            advance(file);
        } else {
            m_given = &file;
            frame = file.frame;
            return true;
        }
    }
    return false;
}

void CCaptureFiles::nextBlock(CFrameBlock & block)
{
    bool const isLast = m_given && m_waiting.empty() && m_unread.empty();
    if (!isLast || m_interrupt.raised())
        return CCaptureSource::nextBlock(block);
    // Nothing comes between the frames of the last file.
    block.clear();
    try {
        m_given->source->nextBlock(block);
    } catch (CFailure const & failure) {
        m_faults.damage.emplace_back(failure.what());
    }
    if (block.size() == 0)
        close(*std::exchange(m_given, nullptr));
}

std::uint64_t CCaptureFiles::position() const
{
    std::uint64_t sum = m_finished;
    for (auto const & file : m_files)
        sum += file->source ? file->source->position() : 0;
    return sum;
}

CSourceFaults CCaptureFiles::faults() const
{
    CSourceFaults all = m_faults;
    for (auto const & file : m_files)
        if (file->source)
            add(all, file->source->faults());
    return all;
}

std::optional<std::uint32_t> CCaptureFiles::linkType() const
{
    std::uint32_t const known = m_linkType.load(std::memory_order_relaxed);
    return known == unknown ? std::nullopt : std::optional(known);
}

// Ethernet goes in front of what was chosen before.
void CCaptureFiles::choose(CFile const & file)
{
    std::optional<std::uint32_t> const linkType = file.source->linkType();
    if (linkType && (m_linkType == unknown || linkType == linktype::ethernet))
        m_linkType.store(*linkType, std::memory_order_relaxed);
}

bool CCaptureFiles::isLeftOut(std::uint32_t linkType) const
{
    return mediaFamily(linkType) != mediaFamily(m_linkType.load(std::memory_order_relaxed));
}

bool CCaptureFiles::open(CFile & file, FirstRead firstRead)
{
    try {
        file.source = openCaptureFile(file.path, firstRead, &m_interrupt);
        return true;
    } catch (CFailure const & failure) {
        m_faults.damage.emplace_back(failure.what());
        return false;
    }
}

// Has the file wait with its next frame, or closes it at its end.
void CCaptureFiles::advance(CFile & file)
{
    try {
        if (file.source->next(file.frame)) {
            m_waiting.push_back(&file);
            std::push_heap(m_waiting.begin(), m_waiting.end(), CFile::isLater);
            return;
        }
    } catch (CFailure const & failure) {
        m_faults.damage.emplace_back(failure.what());
    }
    close(file);
}

void CCaptureFiles::close(CFile & file)
{
    add(m_faults, file.source->faults());
    m_finished += file.source->size();
    file.source.reset();
}

} // namespace ketmon
