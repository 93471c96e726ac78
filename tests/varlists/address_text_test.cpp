// Addresses as people type them.
#include "varlists/address_text.h"

#include <climits>

#include "support/driver_fixture.h"

namespace plc::test {

namespace {

struct Conversion
{
    int regType;
    const char *text;
    int zeroBased; ///< result as the panel counts from 0
    int oneBased;  ///< result as the panel counts from 1
};

void PrintTo(const Conversion &conversion, std::ostream *out)
{
    *out << "type " << conversion.regType << ", text \"" << conversion.text << "\"";
}

const Conversion kConversions[] = {
    // Plain numbers.
    {5, "100", 100, 99},
    {5, "0", 0, 0},
    {5, "1", 1, 0},
    {5, "2", 2, 1},
    {5, "007", 7, 6},
    {5, "65535", 65535, 65534},
    {5, "65536", 65536, 65535},
    {5, "2147483647", 2147483647, 2147483646},
    // White space around a number and a sign belong to it.
    {5, " 100", 100, 99},
    {5, "100 ", 100, 99},
    {5, "\t100\n", 100, 99},
    {5, "+100", 100, 99},
    {5, "-0", 0, 0},
    // No number at all.
    {5, "", -1, -1},
    {5, " ", -1, -1},
    {5, "12a", -1, -1},
    {5, "a12", -1, -1},
    {5, "1 2", -1, -1},
    {5, "0x10", -1, -1},
    {5, "1e2", -1, -1},
    {5, "10.3", -1, -1},
    {5, "10,3", -1, -1},
    {5, "4x100", -1, -1},
    {5, "- 3", -1, -1},
    {5, "2147483648", -1, -1},
    {5, "99999999999999999999", -1, -1},
    // Negative numbers come back as they are and are refused by every caller.
    {0, "-3", -3, -3},
    {5, "-1", -1, -1},
    {5, "-2147483648", INT_MIN, INT_MIN},
    {5, "-2147483649", -1, -1},
    // Register and bit.
    {3, "10.3", 163, 147},
    {3, "0.0", 0, 0},
    {3, "0.5", 5, 5},
    {3, "1.5", 21, 5},
    {3, "1.0", 16, 0},
    {3, "10.15", 175, 159},
    // A bit above 15 reaches into the following registers.
    {2, "2.20", 52, 36},
    {3, "0.16", 16, 16},
    {3, "1.100", 116, 100},
    // A part that is no number counts as 0.
    {3, "10.", 160, 144},
    {3, ".5", 5, 5},
    {3, ".", 0, 0},
    {3, "x.5", 5, 5},
    {3, "5.x", 80, 64},
    {3, "1a.2", 2, 2},
    {3, "1.2a", 16, 0},
    {3, "99999999999.3", 3, 3},
    {3, "0x1.2", 2, 2},
    // White space and signs within a part.
    {3, " 2 . 3 ", 35, 19},
    {3, "+2.+3", 35, 19},
    {3, "2.-1", 31, 15},
    {3, "-1.0", -16, -16},
    {3, "-1.15", -1, -1},
    {3, "-1.16", 0, 0},
    // Other than two parts.
    {3, "10", -1, -1},
    {3, "", -1, -1},
    {3, "1.2.3", -1, -1},
    {3, "..", -1, -1},
    {3, "1.2.", -1, -1},
    {3, ".1.2", -1, -1},
    {3, "10,3", -1, -1},
    {3, "10:3", -1, -1},
    // Sums beyond 31 bits wrap.
    {3, "134217727.15", 2147483647, 2147483631},
    {3, "134217728.0", INT_MIN, 2147483632},
    {3, "2147483647.15", -1, -17},
    {3, "0.2147483647", 2147483647, 2147483647},
    // Types outside the table.
    {10, "100", -1, -1},
    {10, "1.2", -1, -1},
    {-1, "100", -1, -1},
    {-2, "1.2", -1, -1},
    {INT_MAX, "100", -1, -1},
    {INT_MIN, "100", -1, -1},
};

class AddressText : public FreshDriver, public ::testing::WithParamInterface<Conversion>
{
protected:
    static QString text() { return QString::fromLatin1(GetParam().text); }
};

TEST_P(AddressText, IsConvertedAsTheTableSaysWhenCountedFromZero)
{
    EXPECT_EQ(GetParam().zeroBased, StringAddressToInt(GetParam().regType, text()));
}

TEST_P(AddressText, IsConvertedAsTheTableSaysWhenCountedFromOne)
{
    PLC_driver.optBit0 = true;
    EXPECT_EQ(GetParam().oneBased, StringAddressToInt(GetParam().regType, text()));
}

TEST_P(AddressText, IsConvertedAlikeByTheEntryPoint)
{
    EXPECT_EQ(GetParam().zeroBased, PLCAddressChangeIntef(GetParam().regType, text()));
    PLC_driver.optBit0 = true;
    EXPECT_EQ(GetParam().oneBased, PLCAddressChangeIntef(GetParam().regType, text()));
}

INSTANTIATE_TEST_SUITE_P(Table, AddressText, ::testing::ValuesIn(kConversions));

class AddressTextTypes : public SetUpDriver
{};

TEST_F(AddressTextTypes, AllButTheBitsInRegistersTakeOneNumber)
{
    for (const int regType : {0, 1, 4, 5, 6, 7, 8, 9}) {
        SCOPED_TRACE(regType);
        EXPECT_EQ(100, StringAddressToInt(regType, QString::fromLatin1("100")));
        EXPECT_EQ(-1, StringAddressToInt(regType, QString::fromLatin1("10.3")));
    }
}

TEST_F(AddressTextTypes, AllButTheBitsInRegistersAreCountedFromOneOnRequest)
{
    setOptions(kOptionOneBased);
    for (const int regType : {0, 1, 4, 5, 6, 7, 8, 9}) {
        SCOPED_TRACE(regType);
        EXPECT_EQ(99, StringAddressToInt(regType, QString::fromLatin1("100")));
        EXPECT_EQ(0, StringAddressToInt(regType, QString::fromLatin1("0")));
    }
}

TEST_F(AddressTextTypes, BitsInRegistersTakeRegisterAndBit)
{
    for (const int regType : {2, 3}) {
        SCOPED_TRACE(regType);
        EXPECT_EQ(163, StringAddressToInt(regType, QString::fromLatin1("10.3")));
        EXPECT_EQ(-1, StringAddressToInt(regType, QString::fromLatin1("10")));
    }
}

TEST_F(AddressTextTypes, ANullTextIsNoAddress)
{
    for (int regType = 0; regType < 10; ++regType) {
        SCOPED_TRACE(regType);
        EXPECT_EQ(-1, StringAddressToInt(regType, QString()));
    }
}

TEST_F(AddressTextTypes, LettersOutsideLatinAreNoNumber)
{
    EXPECT_EQ(-1, StringAddressToInt(5, QString(QChar(0x0661))));
    EXPECT_EQ(-1, StringAddressToInt(5, QString(QChar(0x00B2))));
}

TEST_F(AddressTextTypes, OneBasedCountingIsDecodedWithTheOptionsNotReadFromTheRecord)
{
    info.options = kOptionOneBased;
    EXPECT_EQ(100, StringAddressToInt(5, QString::fromLatin1("100")));
    SetComInfo(&info);
    EXPECT_EQ(99, StringAddressToInt(5, QString::fromLatin1("100")));
    setOptions(~kOptionOneBased);
    EXPECT_EQ(100, StringAddressToInt(5, QString::fromLatin1("100")));
}

} // namespace

} // namespace plc::test
