// Memory runs out inside a utility that works on the caller's lists.
#include "varlists/grouping.h"

#include <cstdlib>
#include <new>

#include "support/driver_fixture.h"

namespace {

thread_local bool memoryIsOut = false;

} // namespace

void *operator new(std::size_t size)
{
    void *const memory = memoryIsOut ? nullptr : std::malloc(size ? size : 1);
    if (!memory)
        throw std::bad_alloc();
    return memory;
}

void operator delete(void *memory) noexcept
{
    std::free(memory);
}

void operator delete(void *memory, std::size_t) noexcept
{
    std::free(memory);
}

namespace plc::test {

namespace {

template <typename Body>
void withoutMemory(Body body)
{
    memoryIsOut = true;
    body();
    memoryIsOut = false;
}

} // namespace

TEST(MemoryShortage, EndsTheGroupingOfTheCallersList)
{
    QList<RW_VAR> bucket, out;
    bucket << holding(10) << holding(20);
    withoutMemory([&] { BitVarReCreat_2(&bucket, 5, out); });
    EXPECT_EQ(0, out.size());
    BitVarReCreat_2(&bucket, 5, out);
    EXPECT_EQ(2, out.size());
}

TEST(MemoryShortage, EndsTheSplitOfAVariable)
{
    QList<RW_VAR> out;
    RW_VAR var = holding(10);
    withoutMemory([&] { WhetherGroup(250, 100, &var, &out); });
    withoutMemory([&] { WhetherGroup(1, 100, &var, &out); });
    EXPECT_EQ(0, out.size());
    EXPECT_EQ(10, var.address);
}

TEST(MemoryShortage, LeavesAKeyUninserted)
{
    QHash<QString, RW_VAR> records;
    const QString key = QString::fromLatin1("key");
    const RW_VAR var = holding(1);
    withoutMemory([&] { EXPECT_EQ(1, speed_insert(key, var, records)); });
    EXPECT_EQ(0, records.size());
    EXPECT_EQ(0, speed_insert(key, var, records));
}

} // namespace plc::test
