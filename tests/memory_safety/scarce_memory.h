/// @file
/// Memory that runs out where a test says so. Linking scarce_memory.cpp puts functions of the program's own
/// in front of malloc, calloc, realloc, free and operator new, for the program and for every library that it
/// loads, QtCore included.
#ifndef PLC_TESTS_MEMORY_SAFETY_SCARCE_MEMORY_H
#define PLC_TESTS_MEMORY_SAFETY_SCARCE_MEMORY_H

namespace plc::test {

enum class Shortage
{
    Once,      ///< one allocation fails, memory is there again afterwards
    FromThenOn ///< that one fails and all after it
};

/// Counts the allocations of this thread during calls, and lets some of them fail. One object at a time.
class ScarceMemory
{
public:
    /// @param first  the allocation that fails first, counted from 1; 0 lets none fail.
    explicit ScarceMemory(int first, Shortage shortage = Shortage::FromThenOn);
    ~ScarceMemory();
    ScarceMemory(const ScarceMemory &) = delete;
    ScarceMemory &operator=(const ScarceMemory &) = delete;

    /// Runs @p call on this thread with scarce memory and returns its result.
    template <typename Call>
    auto during(Call call)
    {
        const Now now;
        return call();
    }

    /// Whether an allocation has failed.
    static bool ranOut();

    /// Inside scarce memory: there is enough for what follows, and it is not counted.
    class Plenty
    {
    public:
        Plenty();
        ~Plenty();
        Plenty(const Plenty &) = delete;
        Plenty &operator=(const Plenty &) = delete;

    private:
        bool wasScarce_;
    };

private:
    struct Now
    {
        Now();
        ~Now();
        Now(const Now &) = delete;
        Now &operator=(const Now &) = delete;
    };
};

/// Blocks that this thread was given and has not given back.
int heldBlocks();

} // namespace plc::test

#endif
