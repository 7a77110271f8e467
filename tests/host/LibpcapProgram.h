#pragma once

#include "tests/support/Bytes.h"

#include <cstdint>
#include <memory>
#include <string>

namespace test {

// Whether libpcap's optimiser has its way. It makes another expression of some that have a "not" around
// others.
enum class Optimiser
{
    off,
    on,
};

// An expression for frames of a link type, compiled by libpcap. A test fails of one that libpcap doesn't take.
class LibpcapProgram
{
public:
    // The number of the link type is that of capture files.
    explicit LibpcapProgram(std::string const & expression, Optimiser optimiser = Optimiser::on,
                            std::uint32_t linkType = 1);
    ~LibpcapProgram();
    LibpcapProgram(LibpcapProgram const &) = delete;
    LibpcapProgram & operator=(LibpcapProgram const &) = delete;

    bool passes(Bytes const & frame) const;

    // Instructions.
    unsigned int size() const;

private:
    struct Compiled;

    std::unique_ptr<Compiled> m_compiled; // none for an expression that no frame satisfies
};

} // namespace test
