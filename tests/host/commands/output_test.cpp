#include "host/commands/output.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "counted_statistics.h"
#include "support/time_zone.h"

namespace {

using namespace plc::host;
using plc::test::TimeZone;
using plcruntime::Counters; // not those of the rooms below
using plcruntime::Statistics;
using plcruntime::VariableState;
using std::chrono::milliseconds;
using ::testing::HasSubstr;
using ::testing::Not;

Row row(const char *variable, Values values, const char *state = "good")
{
    Row result;
    result.variable = parseVariable(variable, false);
    result.station = 5;
    result.values = std::move(values);
    result.state = state;
    return result;
}

Row failedRow()
{
    Row result = row("4x:100:2", {});
    result.values.reset();
    result.state = "refused";
    result.detail = "illegal \"data\" address";
    result.exceptionCode = 2;
    result.reason = "it \"refused\"";
    return result;
}

TEST(TextRows, ShowVariableAndValues)
{
    RowPrinter printer(Format::Text, NumberStyle::Unsigned);
    EXPECT_EQ("4x:100:3 = 1 2 65535\n", printer.render(row("4x:100:3", {1, 2, 65535})));
}

TEST(TextRows, ShowStateAgeAndMomentWhereGiven)
{
    RowPrinter printer(Format::Text, NumberStyle::Hex);
    Row watched = row("4x:100", {255});
    watched.age = milliseconds(12);
    watched.moment = milliseconds(1500);
    EXPECT_EQ("1.500  4x:100 = 0x00FF  (good, 12 ms old)\n", printer.render(watched));
    EXPECT_EQ("4x:100:2 = ?  (refused: illegal \"data\" address)\n", printer.render(failedRow()));
}

TEST(CsvRows, HaveAHeadLineOnceAndALineForEachValue)
{
    RowPrinter printer(Format::Csv, NumberStyle::Signed);
    EXPECT_EQ("name,station,value,state,time,exception_code,exception_name\n4x_d:200,5,-1,good,,,\n"
              "4x_d:202,5,7,good,,,\n",
              printer.render(row("4x_d:200:2", {0xFFFFFFFF, 7})));
    EXPECT_EQ("4x:100,5,,refused,,2,illegal data address\n4x:101,5,,refused,,2,illegal data address\n",
              printer.render(failedRow()));
}

TEST(CsvRows, QuoteNamesWithACommaOrAQuotationMark)
{
    Row named = row("4x:100", {7});
    named.variable.text = named.variable.label = "Feed, \"slow\"";
    EXPECT_THAT(RowPrinter(Format::Csv, NumberStyle::Unsigned).render(named),
                HasSubstr("\n\"Feed, \"\"slow\"\"\",5,7,good,"));
}

TEST(CsvRows, HaveMomentAndAgeWhenTheyRepeat)
{
    RowPrinter printer(Format::Csv, NumberStyle::Unsigned);
    Row watched = row("0x:3", {1});
    watched.age = milliseconds(12);
    watched.moment = milliseconds(1500);
    EXPECT_EQ("time_s,name,station,value,state,age_ms,time,exception_code,exception_name\n"
              "1.500,0x:3,5,1,good,12,,,\n",
              printer.render(watched));
    watched.values.reset();
    watched.age.reset();
    watched.state = "never read";
    EXPECT_EQ("1.500,0x:3,5,,never read,,,,\n", printer.render(watched));
}

TEST(NdJsonRows, AreOneObjectALine)
{
    RowPrinter printer(Format::NdJson, NumberStyle::Unsigned);
    EXPECT_EQ(
        "{\"kind\":\"value\",\"variable\":\"4x:100:2\",\"station\":5,\"state\":\"good\",\"values\":[1,2]}\n",
        printer.render(row("4x:100:2", {1, 2})));
    EXPECT_EQ("{\"kind\":\"value\",\"variable\":\"4x:100:2\",\"station\":5,\"state\":\"refused\","
              "\"exception_code\":2,\"exception_name\":\"illegal data address\",\"reason\":\"it "
              "\\\"refused\\\"\"}\n",
              printer.render(failedRow()));
}

TEST(NdJsonRows, QuoteHexadecimalValues)
{
    RowPrinter printer(Format::NdJson, NumberStyle::Hex);
    Row watched = row("4x:100", {255});
    watched.age = milliseconds(12);
    watched.moment = milliseconds(1500);
    EXPECT_EQ("{\"kind\":\"value\",\"time_s\":1.500,\"variable\":\"4x:100\",\"station\":5,\"state\":\"good\","
              "\"age_ms\":12,"
              "\"values\":["
              "\"0x00FF\"]}\n",
              printer.render(watched));
}

TEST(NdJsonRows, SayOfAWriteWhetherItIsDone)
{
    Row written = row("4x:100", {7}, "written");
    written.isWrite = true;
    written.isDone = true;
    EXPECT_EQ("{\"kind\":\"write\",\"variable\":\"4x:100\",\"station\":5,\"state\":\"written\","
              "\"result\":\"done\",\"values\":[7]}",
              recordOf(written, NumberStyle::Unsigned));
    written.isDone = false;
    written.state = "no answer";
    EXPECT_THAT(recordOf(written, NumberStyle::Unsigned), HasSubstr("\"result\":\"failed\""));
}

TEST(RowsWithATime, TellItAsTheClockOnTheWallShowsIt)
{
    const TimeZone zone("CET-1CEST,M3.5.0,M10.5.0/3");
    Row watched = row("4x:100", {7});
    watched.moment = milliseconds(1500);
    // 2026-03-29, a moment before the clock is put forward, and half an hour later.
    watched.time = WallTime(std::chrono::milliseconds(1774745999123));
    EXPECT_THAT(RowPrinter(Format::Csv, NumberStyle::Unsigned).render(watched),
                HasSubstr("\n1.500,4x:100,5,7,good,,2026-03-29T01:59:59.123+01:00,,\n"));
    watched.time = *watched.time + std::chrono::minutes(30);
    EXPECT_THAT(recordOf(watched, NumberStyle::Unsigned),
                HasSubstr("\"time_s\":1.500,\"time\":\"2026-03-29T03:29:59.123+02:00\","));
    EXPECT_EQ("4x:100 = 7", RowPrinter(Format::Text, NumberStyle::Unsigned).render(watched).substr(7, 10));
}

TEST(FormattedRows, ShowTheirValuesInEachForm)
{
    const Row floats = row("4x:200:2/f32", {0x4148, 0, 0x7FC0, 0});
    EXPECT_EQ("4x:200:2/f32 = 12.5 nan\n", RowPrinter(Format::Text, NumberStyle::Hex).render(floats));
    EXPECT_EQ("name,station,value,state,time,exception_code,exception_name\n4x:200/f32,5,12.5,good,,,\n"
              "4x:202/f32,5,nan,good,,,\n",
              RowPrinter(Format::Csv, NumberStyle::Hex).render(floats));
    EXPECT_THAT(RowPrinter(Format::NdJson, NumberStyle::Hex).render(floats),
                HasSubstr("\"values\":[12.5,null]}"));
    EXPECT_THAT(RowPrinter(Format::NdJson, NumberStyle::Unsigned).render(row("4x:1:2/bin", {1, 2})),
                HasSubstr("[\"0b0000000000000001\",\"0b0000000000000010\"]"));
    EXPECT_THAT(
        RowPrinter(Format::NdJson, NumberStyle::Unsigned).render(row("4x:1/u64", {~0u, ~0u, ~0u, ~0u})),
        HasSubstr("[18446744073709551615]"));
}

TEST(FormattedRows, GiveTextsOfStationsNoPowerOverTerminalAndTable)
{
    // a, escape, comma, quotation mark; "C1" begins control sequences as well.
    const Row text = row("4x:1/str6", {0x611B, 0x2C22, 0x9B00});
    EXPECT_EQ("4x:1/str6 = \"a\\x1B,\\\"\\x9B\"\n",
              RowPrinter(Format::Text, NumberStyle::Unsigned).render(text));
    EXPECT_EQ("name,station,value,state,time,exception_code,exception_name\n"
              "4x:1/str6,5,\"a\\x1B,\"\"\\x9B\",good,,,\n",
              RowPrinter(Format::Csv, NumberStyle::Unsigned).render(text));
    EXPECT_THAT(RowPrinter(Format::NdJson, NumberStyle::Unsigned).render(text),
                HasSubstr("[\"a\\u001b,\\\"\\u009b\"]"));
}

TEST(FormattedRows, MarkBadBcdDigits)
{
    const Row bcd = row("4x:1:2/bcd", {0x1234, 0x12AB});
    EXPECT_EQ("4x:1:2/bcd = 1234 0x12AB (bad BCD)\n",
              RowPrinter(Format::Text, NumberStyle::Unsigned).render(bcd));
    EXPECT_EQ("name,station,value,state,time,exception_code,exception_name\n4x:1/bcd,5,1234,good,,,\n"
              "4x:2/bcd,5,0x12AB,good (bad BCD),,,\n",
              RowPrinter(Format::Csv, NumberStyle::Unsigned).render(bcd));
    EXPECT_THAT(RowPrinter(Format::NdJson, NumberStyle::Unsigned).render(bcd),
                HasSubstr("\"values\":[1234,\"0x12AB\"],\"bad\":[1]}"));
}

TEST(RowsInPieces, SaySo)
{
    Row pieces = row("4x:1/u32", {0, 7});
    pieces.isInPieces = true;
    EXPECT_EQ("4x:1/u32 = 7  (good, read in pieces)\n",
              RowPrinter(Format::Text, NumberStyle::Unsigned).render(pieces));
    EXPECT_EQ("name,station,value,state,time,exception_code,exception_name\n4x:1/u32,5,7,good in pieces,,,\n",
              RowPrinter(Format::Csv, NumberStyle::Unsigned).render(pieces));
    EXPECT_THAT(RowPrinter(Format::NdJson, NumberStyle::Unsigned).render(pieces),
                HasSubstr("\"state\":\"good\",\"in_pieces\":true,\"values\":[7]"));
}

TEST(RowsWithMeaning, ShowUnitAndTexts)
{
    Meaning meaning;
    meaning.unit = "l/min, \"net\"";
    meaning.names = {{Value::ofUnsigned(1), "open"}};
    Row valve = row("4x:1:2", {0, 1});
    valve.variable.meaning = std::make_shared<const Meaning>(meaning);
    EXPECT_TRUE(haveMeanings({valve.variable}));
    EXPECT_EQ("4x:1:2 = 0 open (1) l/min, \"net\"\n",
              RowPrinter(Format::Text, NumberStyle::Unsigned).render(valve));
    EXPECT_EQ("name,station,value,state,unit,text,time,exception_code,exception_name\n"
              "4x:1,5,0,good,\"l/min, \"\"net\"\"\",,,,\n4x:2,5,1,good,\"l/min, \"\"net\"\"\",open,,,\n",
              RowPrinter(Format::Csv, NumberStyle::Unsigned, true).render(valve));
    EXPECT_THAT(RowPrinter(Format::NdJson, NumberStyle::Unsigned).render(valve),
                HasSubstr("\"values\":[0,1],\"unit\":\"l/min, \\\"net\\\"\",\"texts\":[null,\"open\"]}"));
    EXPECT_FALSE(haveMeanings({row("4x:1", {0}).variable}));
}

TEST(Tables, PutColumnsUnderEachOther)
{
    EXPECT_EQ((std::vector<std::string>{"a    bb", "ccc  d"}), layOut({{"a", "bb"}, {"ccc", "d"}}));
}

TEST(Tables, CountCharactersAndNotBytes)
{
    EXPECT_THAT(layOut({{"Pr\xC3\xA4z", "\xC2\xB0"
                                        "C"},
                        {"Druck", "bar"}}),
                ::testing::ElementsAre("Pr\xC3\xA4z   \xC2\xB0"
                                       "C",
                                       "Druck  bar"));
}

TEST(Ages, AreShownInMillisecondsThenInSeconds)
{
    EXPECT_EQ("999 ms", formatAge(milliseconds(999)));
    EXPECT_EQ("1.2 s", formatAge(milliseconds(1234)));
}

TEST(StatisticsText, NamesEveryCounterAndTheRate)
{
    Statistics statistics = plc::test::countedStatistics();
    statistics.stations.append(statistics.total);
    EXPECT_EQ("requests 100, good 90, time-outs 4, bad 3, exceptions 2, no reply due 1, retries 7, line "
              "never silent 5, replies ignored 6\n"
              "bytes out 800, in 900, thrown away 11\n"
              "50.0 requests per second over 2.0 s\n",
              describeStatistics(statistics, false));
}

TEST(StatisticsText, TellsErrorsOfTheLineWhereThereAreSomeOrDetailsAreAskedFor)
{
    Statistics statistics;
    EXPECT_THAT(describeStatistics(statistics, false), Not(HasSubstr("line errors")));
    EXPECT_THAT(describeStatistics(statistics, true),
                HasSubstr("\nline errors: unknown, since the port does not count them\n"));
    statistics.hasLineErrors = true;
    EXPECT_THAT(describeStatistics(statistics, false), Not(HasSubstr("line errors")));
    EXPECT_THAT(describeStatistics(statistics, true),
                HasSubstr("\nline errors: parity 0, framing 0, overruns 0, breaks 0\n"));
    statistics.parityErrors = 1;
    statistics.framingErrors = 2;
    statistics.overruns = 3;
    statistics.breaks = 4;
    EXPECT_THAT(describeStatistics(statistics, false),
                HasSubstr("\nline errors: parity 1, framing 2, overruns 3, breaks 4\n"));
}

TEST(StatisticsText, TellsHowLateRequestsWereWhereDetailsAreAskedFor)
{
    const Statistics statistics = plc::test::countedStatistics();
    EXPECT_THAT(describeStatistics(statistics, true),
                HasSubstr("\nrequests later than their silence: p50 0.05 ms, p99 4.19 ms, most 20.00 ms\n"));
    EXPECT_THAT(describeStatistics(statistics, false), Not(HasSubstr("later than")));
}

TEST(StatisticsText, NamesWhomASecondMasterAsks)
{
    Statistics statistics;
    EXPECT_THAT(describeStatistics(statistics, true), Not(HasSubstr("second master")));
    plcruntime::ForeignRequests foreign;
    foreign.station = 4;
    foreign.requests = 12;
    statistics.foreignRequests.append(foreign);
    foreign.station = 9;
    foreign.requests = 1;
    statistics.foreignRequests.append(foreign);
    EXPECT_THAT(
        describeStatistics(statistics, false),
        HasSubstr(
            "\na second master asks station 4: 12 requests\na second master asks station 9: 1 request\n"));
}

TEST(StatisticsText, ListsStationsWhenThereAreSeveral)
{
    Statistics statistics;
    statistics.total.requests = 3;
    statistics.total.lineBusy = 1;
    statistics.runningUs = 1000000;
    Counters five;
    five.station = 5;
    five.requests = 1;
    Counters six;
    six.station = 6;
    six.requests = 2;
    six.ignoredReplies = 4;
    statistics.stations << five << six;
    EXPECT_EQ(
        "requests 3, good 0, time-outs 0, bad 0, exceptions 0, no reply due 0, retries 0, line never silent "
        "1\n"
        "station 5: requests 1, good 0, time-outs 0, bad 0, exceptions 0, no reply due 0, retries 0\n"
        "station 6: requests 2, good 0, time-outs 0, bad 0, exceptions 0, no reply due 0, retries 0, replies "
        "ignored 4\n"
        "bytes out 0, in 0, thrown away 0\n"
        "3.0 requests per second over 1.0 s\n",
        describeStatistics(statistics, false));
}

const char *nameOf(plcruntime::Quality quality, plcruntime::OrderEnd lastRead = plcruntime::OrderEnd::Good)
{
    VariableState state;
    state.quality = quality;
    state.lastRead = lastRead;
    return stateName(state);
}

TEST(StateNames, AreThoseThatTheTableShows)
{
    EXPECT_STREQ("never read", nameOf(Quality::NeverRead));
    EXPECT_STREQ("good", nameOf(Quality::Good));
    EXPECT_STREQ("stale", nameOf(Quality::Stale));
    EXPECT_STREQ("refused", nameOf(Quality::Refused));
    EXPECT_STREQ("no answer", nameOf(Quality::NoAnswer, plcruntime::OrderEnd::NoAnswer));
    EXPECT_STREQ("line busy", nameOf(Quality::NoAnswer, plcruntime::OrderEnd::LineBusy));
    EXPECT_STREQ("bad reply", nameOf(Quality::BadReply));
    EXPECT_STREQ("offline", nameOf(Quality::Offline));
    EXPECT_STREQ("switched off", nameOf(Quality::SwitchedOff));
    EXPECT_STREQ("port lost", nameOf(Quality::PortLost));
}

TEST(Lines, BreakBetweenWordsWhereATerminalIsNarrow)
{
    const std::string lines = "requests 12, good 11, time-outs 1\nbytes out 96\n";
    EXPECT_EQ("requests 12, good 11,\n  time-outs 1\nbytes out 96\n", fitted(lines, 21));
    EXPECT_EQ(lines, fitted(lines, 33));
    EXPECT_EQ(lines, fitted(lines, 0)) << "no terminal";
    EXPECT_EQ("longest\n  word\n", fitted("longest word\n", 4));
}

} // namespace
