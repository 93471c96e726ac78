#include "runtime/line/exception_codes.h"

#include <gtest/gtest.h>

namespace {

using plc::runtime::describeException;
using plc::runtime::exceptionLabel;
using plc::runtime::exceptionMeaning;

struct Row
{
    int code;
    const char *name;
};

void PrintTo(const Row &row, std::ostream *out)
{
    *out << "code " << row.code;
}

class ExceptionTable : public ::testing::TestWithParam<Row>
{};

TEST_P(ExceptionTable, HasItsStandardName)
{
    EXPECT_STREQ(GetParam().name, exceptionMeaning(GetParam().code).name);
}

INSTANTIATE_TEST_SUITE_P(Codes, ExceptionTable,
                         ::testing::Values(Row{1, "illegal function"}, Row{2, "illegal data address"},
                                           Row{3, "illegal data value"}, Row{4, "server device failure"},
                                           Row{5, "acknowledge"}, Row{6, "server device busy"},
                                           Row{7, "negative acknowledge"}, Row{8, "memory parity error"},
                                           Row{10, "gateway path unavailable"},
                                           Row{11, "gateway target failed to respond"},
                                           Row{9, "unknown exception"}, Row{0, "unknown exception"},
                                           Row{255, "unknown exception"}),
                         [](const auto &test) { return std::to_string(test.param.code); });

TEST(Exceptions, AreDescribedWithCodeNameFunctionAndAdvice)
{
    EXPECT_EQ("exception 02 (illegal data address) to function 3, address 1000, count 20: the range lies "
              "outside the station's map; read "
              "fewer registers at once, or try setting 'driverOptions' one-based",
              describeException(3, 2, 1000, 20));
    EXPECT_EQ("exception 63 (unknown exception) to function 16: see the station's manual",
              describeException(16, 99, 0, 0));
}

TEST(Exceptions, AdviseNoSmallerReadsWhereNothingWasReadOrNoMoreThanOne)
{
    EXPECT_EQ(
        "exception 02 (illegal data address) to function 3, address 1000, count 1: the station has no such "
        "address; look it up in its manual, or try setting 'driverOptions' one-based",
        describeException(3, 2, 1000, 1));
    EXPECT_EQ(
        "exception 02 (illegal data address) to function 6, address 1000, count 1: the station has no such "
        "address, or it cannot be written; look it up in its manual, or try setting 'driverOptions' "
        "one-based",
        describeException(6, 2, 1000, 1));
    EXPECT_EQ("exception 02 (illegal data address) to function 16, address 1000, count 2: not all of these "
              "addresses can be written; write them one by one to see which, or try setting 'driverOptions' "
              "one-based",
              describeException(16, 2, 1000, 2));
    EXPECT_EQ(
        "exception 03 (illegal data value) to function 6, address 1000, count 1: the station does not take "
        "this value; look up its range in its manual",
        describeException(6, 3, 1000, 1));
    EXPECT_EQ(
        "exception 03 (illegal data value) to function 15, address 8, count 9: the station does not take "
        "one of these values, or not that many at once; try a smaller setting 'maxBlock'",
        describeException(15, 3, 8, 9));
    EXPECT_EQ(
        "exception 03 (illegal data value) to function 4, address 8, count 1: the station does not take "
        "this request; see its manual",
        describeException(4, 3, 8, 1));
}

TEST(Exceptions, TellOfAWriteThatHasBegun)
{
    EXPECT_EQ(
        "exception 05 (acknowledge) to function 6, address 100, count 1: the station has begun the write and "
        "needs long for it; do not send it again, but see later what it has done",
        describeException(6, 5, 100, 1));
    EXPECT_EQ(
        "exception 05 (acknowledge) to function 3: the station has begun a long job and will answer later; "
        "ask again",
        describeException(3, 5, 0, 0));
}

TEST(ExceptionLabel, HasCodeAndName)
{
    EXPECT_EQ("02 illegal data address", exceptionLabel(2));
    EXPECT_EQ("0B gateway target failed to respond", exceptionLabel(11));
    EXPECT_EQ("63 unknown exception", exceptionLabel(99));
}

} // namespace
