// Several lines in one process: copies of the library's file, each loaded by its path, share nothing of their
// own. PLC_PROCESS says which process: one without names of the library's, or one with them.
#include "lines/line.h"

#include <algorithm>
#include <map>
#include <memory>

namespace plc::test {

namespace {

// Station 1 answers that its register has the value 0x1234.
constexpr const char *kGoodReply = "0103021234b533";

// Register 7 is read once, from the request to the mirrored value.
void expectToRead(const Line &line)
{
    SCOPED_TRACE("a whole cycle");
    const std::string frame = line.nextFrame();
    EXPECT_EQ("010300070001", frame);
    if (frame.empty())
        return;
    EXPECT_EQ(1, line.receive(kGoodReply));
    EXPECT_EQ("3412", line.value("7"));
}

} // namespace

TEST_P(Lines, ReadListsOfTheirOwn)
{
    const Line first(file(1), GetParam());
    const Line second(file(2), GetParam());
    EXPECT_EQ(1, first.addRead(1));
    EXPECT_EQ(1, second.addRead(2));
    EXPECT_EQ("010300010001", first.nextFrame());
    EXPECT_EQ("010300020001", second.nextFrame());
}

TEST_P(Lines, MirrorTheirOwnStations)
{
    const Line first(file(1), GetParam());
    const Line second(file(2), GetParam());
    first.addRead(7);
    expectToRead(first);
    EXPECT_EQ("0000", second.value("7"));
}

TEST_P(Lines, WriteToTheirOwnStations)
{
    const Line first(file(1), GetParam());
    const Line second(file(2), GetParam());
    EXPECT_EQ(1, first.write(1, "16"));
    EXPECT_EQ("", second.nextFrame());
    EXPECT_EQ("010600101234", first.nextFrame());
}

TEST_P(Lines, KeepTheMemoryAreasThatEachWasGiven)
{
    const Line first(file(1), GetParam());
    const Line second(file(2), GetParam());
    EXPECT_EQ(first.words(), first.wordsOfTheLibrary());
    EXPECT_EQ(second.words(), second.wordsOfTheLibrary());
}

TEST_P(Lines, TakeTheStationOverrideFromTheirOwnMemory)
{
    Line first(file(1), GetParam());
    Line second(file(2), GetParam());
    second.overrideStation(9);
    first.addRead(7);
    second.addRead(7);
    EXPECT_EQ("010300070001", first.nextFrame());
    EXPECT_EQ("090300070001", second.nextFrame());
}

TEST_P(Lines, SwitchStationsOffEachForItself)
{
    const Line first(file(1), GetParam());
    const Line second(file(2), GetParam());
    first.addRead(7);
    second.addRead(7);
    first.enable(1, 0);
    EXPECT_EQ("", first.nextFrame());
    EXPECT_EQ("010300070001", second.nextFrame());
}

TEST_P(Lines, GoOnWhenOthersAreUnloadedInAnyOrder)
{
    std::array<int, 3> order = {0, 1, 2};
    do {
        SCOPED_TRACE("order of unloading " + std::to_string(order[0]) + std::to_string(order[1]) +
                     std::to_string(order[2]));
        std::array<std::unique_ptr<Line>, 3> lines;
        for (size_t i = 0; i < lines.size(); ++i) {
            lines[i] = std::make_unique<Line>(file(static_cast<int>(i)), GetParam());
            EXPECT_EQ(1, lines[i]->addRead(7));
        }
        for (const int closed : order) {
            lines[static_cast<size_t>(closed)].reset();
            for (const auto &line : lines)
                if (line)
                    expectToRead(*line);
        }
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST_P(Lines, AreLoadedAfreshBesideOthersThatStay)
{
    const Line stays(file(1), GetParam());
    stays.addRead(7);
    for (int i = 0; i < 3; ++i) {
        const Line comesAndGoes(file(2), GetParam());
        EXPECT_EQ(1, comesAndGoes.addRead(1));
        expectToRead(stays);
    }
    EXPECT_EQ(2, stays.addRead(8));
}

TEST_P(Lines, AreGoneFromTheProcessOnceUnloaded)
{
    Line first(file(1), GetParam());
    const Line second(file(2), GetParam());
    first.unload();
    EXPECT_EQ(nullptr, dlopen(file(1).c_str(), RTLD_NOW | RTLD_NOLOAD));
}

TEST_P(Lines, MayBeLeftToTheEndOfTheProcess)
{
    Line first(file(1), GetParam());
    Line second(file(2), GetParam());
    for (Line *line : {&first, &second}) {
        line->addRead(7);
        line->addRead(8);
    }
    expectToRead(first);
    expectToRead(second);
    first.forget();
    second.forget();
}

TEST_P(Lines, ThroughALinkAreTheSameCopyAgain)
{
    const Line first(file(1), GetParam());
    std::filesystem::create_symlink(file(1), file(2));
    const Line again(file(2), GetParam());
    first.addRead(1);
    EXPECT_EQ(2, again.addRead(2));
}

INSTANTIATE_TEST_SUITE_P(PLC_PROCESS, Lines, ::testing::Values(RTLD_LOCAL, RTLD_GLOBAL), howLoaded);

} // namespace plc::test
