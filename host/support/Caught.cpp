#include "host/support/Caught.h"

#include "ketstats/ktools/Exception.h"

#include <exception>
#include <memory>
#include <new>

namespace ketmon {

namespace {

// Short enough to be had where there is no memory.
char const * const noMemory = "out of memory";

std::string textOfCaught()
{
    try {
        throw;
    } catch (std::bad_alloc const &) {
        return noMemory;
    } catch (std::exception const & error) {
        return error.what();
    } catch (ktools::CException * raised) {
        std::unique_ptr<ktools::CException> const exception(raised);
        return exception ? ktools::describe(*exception) : noMemory;
    } catch (...) {
        return "an unknown exception";
    }
}

} // namespace

std::string caughtText() noexcept
{
    try {
        return textOfCaught();
    } catch (std::exception const &) {
        return noMemory;
    }
}

} // namespace ketmon
