#pragma once

#include "ketstats/ktools/Exception.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace test {

// What an operation threw: nothing, or an exception of exactly the class E.
struct Raised
{
    int code = 0;
    std::string source;
    int line = 0;
    bool flag = false;

    friend bool operator==(Raised const &, Raised const &) = default;
    friend std::ostream & operator<<(std::ostream & out, Raised const & raised)
    {
        return raised.code == 0
                   ? out << "nothing raised"
                   : out << "code " << raised.code << ", " << raised.source << ":" << raised.line;
    }
};

inline Raised const nothingRaised{};

template <class E, class Operation>
Raised raisedBy(Operation && operation)
{
    try {
        operation();
        return nothingRaised;
    } catch (E * raised) {
        std::unique_ptr<E> const owned(raised);
        return {owned->code, owned->file, owned->line, owned->flag};
    } catch (ktools::CException * raised) {
        std::unique_ptr<ktools::CException> const owned(raised);
        ADD_FAILURE() << "raised an exception of another class, " << owned->file << ":" << owned->line;
        return nothingRaised;
    }
}

} // namespace test
