#include "host/finding/frame_fields.h"

#include <gmock/gmock.h>

#include "support/hex.h"

namespace {

using namespace plc::host;
using plc::test::hex;
using ::testing::ElementsAre;

std::vector<std::string> fields(const char *reply, const char *request)
{
    std::vector<std::string> texts;
    for (const FrameField &field : fieldRows(hex(reply), hex(request)))
        texts.push_back(field.name + ": " + field.bytes + (field.text.empty() ? "" : " = " + field.text));
    return texts;
}

TEST(FrameFields, OfBitsTellTheirAddresses)
{
    EXPECT_THAT(fields("11 01 02 A5 1C 02 A6", "11 01 00 20 00 0D FE 95"),
                ElementsAre("station: 11 = 17", "function: 01 = read coils (1)", "byte count: 02 = 2",
                            "bits 32 to 39: A5 = 1 0 1 0 0 1 0 1", "bits 40 to 44: 1C = 0 0 1 1 1",
                            "CRC: 02 A6 = good"));
}

TEST(FrameFields, OfAnExceptionTellItsName)
{
    EXPECT_THAT(fields("11 83 02 C1 34", "11 03 00 64 00 02 87 44"),
                ElementsAre("station: 11 = 17", "function: 83 = exception to read holding registers (3)",
                            "exception code: 02 = 02 illegal data address", "CRC: C1 34 = good"));
}

TEST(FrameFields, OfAnUnknownFunctionAreBytes)
{
    EXPECT_THAT(
        fields("11 64 01 02 00 00", "11 64 00 00"),
        ElementsAre("station: 11 = 17", "function: 64 = function 100", "data: 01 02", "CRC: 00 00 = wrong"));
}

TEST(FrameFields, OfWhatIsCutOffEndWithIt)
{
    EXPECT_THAT(fields("11 03 04 12 00 00", "11 03 00 64 00 02 87 44"),
                ElementsAre("station: 11 = 17", "function: 03 = read holding registers (3)",
                            "byte count: 04 = 4", "data: 12", "CRC: 00 00 = wrong"));
    EXPECT_THAT(fields("11", "11 11"), ElementsAre("CRC: 11"));
    EXPECT_THAT(fields("", "11 11"), ElementsAre());
    EXPECT_THAT(
        fields("11 11 00 00", "11 11 00 00"),
        ElementsAre("station: 11 = 17", "function: 11 = report server id (17)", "CRC: 00 00 = wrong"));
}

} // namespace
