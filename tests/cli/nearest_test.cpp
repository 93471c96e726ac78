#include "cli/nearest.h"

#include <gtest/gtest.h>

namespace {

using plc::cli::didYouMean;
using plc::cli::nearest;

const std::vector<std::string> kWords{"read",   "write",    "watch", "--baud", "--station",
                                      "4x_bit", "4x_block", "0x",    "1x"};

TEST(NearestWord, HasALetterWrongMissingTooManyOrExchanged)
{
    EXPECT_EQ("read", nearest("reed", kWords));
    EXPECT_EQ("read", nearest("rad", kWords));
    EXPECT_EQ("--baud", nearest("--bauds", kWords));
    EXPECT_EQ("write", nearest("wirte", kWords));
    EXPECT_EQ("4x_bit", nearest("4xbit", kWords));
}

TEST(NearestWord, IsTheOneThatWasBegun)
{
    EXPECT_EQ("--station", nearest("--sta", kWords));
    EXPECT_EQ("4x_block", nearest("4x_bl", kWords));
}

TEST(NearestWord, MayHaveCapitalsAndDashesThatWereNotTyped)
{
    EXPECT_EQ("read", nearest("REED", kWords));
    EXPECT_EQ("--baud", nearest("baud", kWords));
}

TEST(NearestWord, IsNoneWhereNoneIsNear)
{
    EXPECT_EQ("", nearest("frobnicate", kWords));
    EXPECT_EQ("", nearest("", kWords));
    EXPECT_EQ("", nearest("read", {}));
    // A letter in three is too much of a guess at two letters.
    EXPECT_EQ("", nearest("5x", kWords));
    EXPECT_EQ("", nearest("raed it", kWords));
}

TEST(NearestWord, IsNoneWhereSeveralAreEquallyNear)
{
    EXPECT_EQ("", nearest("bad", {"bat", "bar"}));
    EXPECT_EQ("", nearest("4x_b", kWords)); // begins two of them
}

TEST(NearestWord, IsLookedForInWordsOfAnyLength)
{
    EXPECT_EQ("", nearest(std::string(100000, 'x'), kWords));
}

TEST(Question, AsksForTheNearestWordOrForNothing)
{
    EXPECT_EQ("; did you mean 'read'?", didYouMean("reed", kWords));
    EXPECT_EQ("", didYouMean("5x", kWords));
}

} // namespace
