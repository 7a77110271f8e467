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

// Lets this thread make so many allocations more while the object lives, and has all others fail.
class MemoryRunsOut
{
public:
    explicit MemoryRunsOut(long after);
    ~MemoryRunsOut();
    MemoryRunsOut(MemoryRunsOut const &) = delete;
    MemoryRunsOut & operator=(MemoryRunsOut const &) = delete;
};

} // namespace test
