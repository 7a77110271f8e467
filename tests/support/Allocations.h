#pragma once

namespace test {

// Counts the allocations from the free store that this thread makes while the object lives.
class Allocations
{
public:
    Allocations();
    long count() const;

private:
    long m_before;
};

} // namespace test
