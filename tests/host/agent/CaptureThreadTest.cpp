#include "host/agent/CaptureThread.h"

#include "host/support/Failure.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <utility>

using namespace ketmon;

namespace {

// Fails as it is told, where it is asked for a frame.
class Failing : public CCaptureSource
{
public:
    explicit Failing(std::function<void()> failure) : m_failure(std::move(failure)) {}

    bool next(CCapturedFrame &) override
    {
        m_failure();
        return false;
    }

private:
    std::function<void()> m_failure;
};

TEST(CaptureThread, TellsWhateverItFailedWith)
{
    std::pair<std::string, std::function<void()>> const failures[] = {
        {"out of memory",
         [] {
             ktools::CException * const none = nullptr;
             throw none;
         }},
        {"the operation can't be done (Place.cpp 7, code 1)",
         [] { ktools::raise<ktools::CException>(1, "Place.cpp", 7); }},
        {"an unknown exception", [] { throw 7; }},
        {"a sentence", [] { throw CFailure(exitFailure, "a sentence"); }},
    };
    for (auto const & [text, failure] : failures) {
        KetStats::CKetrinStatManager manager;
        manager.beginAnalyzing(nullptr);
        Failing source(failure);
        std::promise<CEnd> ended;
        CCaptureThread thread(manager, source, {});

        thread.start([&](CEnd const & end) { ended.set_value(end); });
        CEnd const end = ended.get_future().get();

        try {
            thread.join();
            ADD_FAILURE() << "it didn't fail";
        } catch (std::exception const & error) {
            EXPECT_EQ(error.what(), text);
        }
        EXPECT_EQ(end.reason, EndReason::failed);
        EXPECT_EQ(end.text, text);
    }
}

} // namespace
