#pragma once

#include "host/capture/CaptureFile.h"
#include "host/capture/CaptureSource.h"
#include "host/support/Interrupt.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ketmon {

// Several capture files as one source.
//
// 1. Their frames come in the order of their time stamps, each file's own in the order of the file; of equal
//    stamps the file that was named first goes first.
// 2. A file that is damaged, or one of several that can't be opened, is told by `faults`, and the others are
//    read on. `next` throws for none.
// 3. Of several files only those are held open whose time has come, so there may be any number of them. A pipe
//    is open from the start.
// 4. Its frames are of Ethernet, if one of the files is, and else of other media; those of files that have
//    others are left out, and told by `faults`. Of pipes that are read later only the first says.
// 5. `stop` ends it wherever it is, also while it waits for a pipe.
class CCaptureFiles : public CCaptureSource
{
public:
    // "-" stands for the standard input. Throws CFailure, exit code 2, where there is nothing to read: for a
    // file alone that can't be opened, several of which none can, and the standard input named twice.
    //
    // With FirstRead::byNext pipes are opened, and read when the first frame is asked for: an agent serves
    // meanwhile. What is wrong with one is then told by `faults`.
    explicit CCaptureFiles(std::vector<std::string> const & paths, FirstRead ofPipes = FirstRead::toOpen);
    ~CCaptureFiles() override;

    bool next(CCapturedFrame & frame) override;
    void nextBlock(CFrameBlock & block) override;
    void stop() override { m_interrupt.raise(); }
    std::uint64_t position() const override;
    std::uint64_t size() const override { return m_size; }
    std::optional<std::uint32_t> linkType() const override;
    CSourceFaults faults() const override;

private:
    struct CFile;

    void choose(CFile const & file);
    bool isLeftOut(std::uint32_t linkType) const;
    bool open(CFile & file, FirstRead firstRead);
    void advance(CFile & file);
    void close(CFile & file);

    CInterrupt m_interrupt; // of the sources below
    std::vector<std::unique_ptr<CFile>> m_files;
    std::vector<CFile *> m_unread;  // pipes that are read when the first frame is asked for
    std::vector<CFile *> m_waiting; // a heap, at its front the one whose frame comes next
    CFile * m_given = nullptr;      // the one whose frame was given last
    CSourceFaults m_faults;         // of what is closed, and of frames that aren't given
    static constexpr std::uint32_t unknown = 0xFFFFFFFF;
    std::atomic<std::uint32_t> m_linkType{unknown}; // of the first file whose frames are given
    std::uint64_t m_size = 0;
    std::uint64_t m_finished = 0; // bytes of files that are at their end
};

} // namespace ketmon
