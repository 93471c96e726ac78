#include "runtime/panel/pieces.h"

#include <gtest/gtest.h>

namespace {

using namespace plc::runtime;

int reads(const char *variable, int maxBlock, quint32 options = 0)
{
    LinkSettings settings;
    settings.maxBlock = maxBlock;
    settings.options = options;
    return readPieces(parseVariable(variable, false), settings);
}

int writes(const char *variable, int maxBlock, quint32 options = 0)
{
    LinkSettings settings;
    settings.maxBlock = maxBlock;
    settings.options = options;
    return writePieces(parseVariable(variable, false), settings);
}

TEST(ReadPieces, AreCutAtTheBlockLimit)
{
    EXPECT_EQ(1, reads("4x:0:100", 100));
    EXPECT_EQ(3, reads("4x:0:250", 100));
    EXPECT_EQ(4, reads("4x_d:0:2", 1));
    EXPECT_EQ(2, reads("4x_bit:35.15:2", 1));
    EXPECT_EQ(1, reads("0x:0:800", 100));
    EXPECT_EQ(2, reads("0x:0:801", 100));
    EXPECT_EQ(20, reads("0x:0:20", 100, plc::kOptionNoBitPacking));
}

TEST(WritePieces, AreCutAsTheDriverCutsThem)
{
    EXPECT_EQ(3, writes("4x:0:250", 100));
    EXPECT_EQ(1, writes("4x:0:120", 1));
    EXPECT_EQ(5, writes("4x:0:5", 100, plc::kOptionSingleRegisters));
    EXPECT_EQ(3, writes("4x_d:0:125", 100));
    EXPECT_EQ(3, writes("4x_d:0:125", 1));
    EXPECT_EQ(4, writes("4x_bit:3.0:4", 100));
    EXPECT_EQ(4, writes("4x_single:3:4", 100));
    EXPECT_EQ(4, writes("4x_block:3:4", 100));
    EXPECT_EQ(2, writes("0x:0:20", 2));
    EXPECT_EQ(1, writes("0x:0:20", 1));
    EXPECT_EQ(20, writes("0x:0:20", 100, plc::kOptionSingleCoils));
}

TEST(ReadPieces, CutNoValueThatFitsIntoARequest)
{
    EXPECT_EQ(5, reads("4x:0:10/f32", 5)) << "two values each";
    EXPECT_EQ(5, reads("4x_d:0:10", 5));
    EXPECT_EQ(2, reads("4x:0:26/u64", 100)) << "25 + 1 values";
    EXPECT_EQ(2, reads("4x:0/u64", 2)) << "one value of four registers";
    EXPECT_EQ(2, reads("4x:0/str9", 3)) << "one text of five registers";
}

TEST(WritePieces, CutNoValueThatFitsIntoARequest)
{
    EXPECT_EQ(5, writes("4x:0:10/f32", 5));
    EXPECT_EQ(1, writes("4x:0:4/f32", 1)) << "without a limit";
    EXPECT_EQ(8, writes("4x:0:4/f32", 5, plc::kOptionSingleRegisters));
    EXPECT_EQ(4, writes("4x_single:0:2/f32", 100));
    EXPECT_EQ(2, writes("4x:0/str9", 3));
}

TEST(Values, AreCutOnlyWhereTheyAreLongerThanARequest)
{
    const auto cut = [](const char *variable, int maxBlock) {
        LinkSettings settings;
        settings.maxBlock = maxBlock;
        return cutsValues(parseVariable(variable, false), settings);
    };
    EXPECT_FALSE(cut("4x:0:300/f32", 3));
    EXPECT_TRUE(cut("4x:0/u64", 3));
    EXPECT_FALSE(cut("4x:0/u64", 4));
    EXPECT_TRUE(cut("4x_d:0", 1));
    EXPECT_FALSE(cut("4x:0:300", 1));
    EXPECT_FALSE(cut("4x_bit:0.9:20", 1));
}

} // namespace
