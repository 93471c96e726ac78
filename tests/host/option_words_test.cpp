#include "host/option_words.h"

#include <gtest/gtest.h>

#include "runtime/line/exception_codes.h"

namespace {

using plc::host::inOptions;

TEST(OptionWords, StandInPlaceOfTheNamesOfSettings)
{
    EXPECT_EQ("it does not check parity; try --parity none",
              inOptions("it does not check parity; try setting 'parity' none"));
    EXPECT_EQ("--timeout, --echo, --realtime",
              inOptions("setting 'timeoutMs', setting 'echo', setting 'realTime'"));
    EXPECT_EQ("--max-block and --max-block", inOptions("setting 'maxBlock' and setting 'maxBlock'"));
    EXPECT_EQ("a maxBlock that is no setting", inOptions("a maxBlock that is no setting"));
}

TEST(OptionWords, AreThereForEveryAdviceOnAnException)
{
    for (int code = 0; code < 256; ++code) {
        const std::string text = inOptions(plc::runtime::describeException(3, code, 0, 1));
        EXPECT_EQ(std::string::npos, text.find("setting '")) << text;
    }
}

} // namespace
