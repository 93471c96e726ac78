// Variables and screens of a line: what is read, and what is known of it.

#include <gmock/gmock.h>

#include "core/options.h"
#include "line_fixture.h"

namespace {

using namespace plcruntime;
using plc::test::became;
using plc::test::LineTest;
using ::testing::Each;
using ::testing::HasSubstr;
using ::testing::Not;

QList<VariableId> list(VariableId a, VariableId b = 0)
{
    QList<VariableId> ids;
    ids.append(a);
    if (b != 0)
        ids.append(b);
    return ids;
}

class LineVariables : public LineTest
{
protected:
    std::set<int> stationsAsked(std::size_t since) const
    {
        std::set<int> stations;
        for (std::size_t i = since; i < world.frames.size(); ++i)
            stations.insert(static_cast<unsigned char>(world.frames[i].at(0)));
        return stations;
    }
};

TEST_F(LineVariables, ReadsWhatIsOnTheScreenAndTellsValueAndQualityOnce)
{
    world.registers[{7, 200}] = 42;
    const VariableId id = shown("4x:200@7");
    EXPECT_EQ(Quality::NeverRead, value(id).quality);
    EXPECT_TRUE(value(id).values.isEmpty());
    EXPECT_EQ(-1, value(id).ageMs);
    open();
    run(500);
    EXPECT_EQ(42, number(id));
    EXPECT_EQ(Quality::Good, value(id).quality);
    EXPECT_EQ("", value(id).reason.toStdString());
    EXPECT_LE(value(id).ageMs, 100);
    EXPECT_TRUE(value(id).onScreen);
    EXPECT_EQ(1, timesHeard("value " + std::to_string(id)));
    EXPECT_EQ(1, timesHeard(became(id, Quality::Good)));
    world.registers[{7, 200}] = 43;
    run(500);
    EXPECT_EQ(43, number(id));
    EXPECT_EQ(2, timesHeard("value " + std::to_string(id)));
}

TEST_F(LineVariables, ReadsExactlyTheScreenFromTheChangeOn)
{
    const VariableId first = shown("4x:0@1");
    const VariableId second = add("4x:0@2");
    open();
    run(200);
    EXPECT_EQ(std::set<int>{1}, stationsAsked(0));
    EXPECT_FALSE(line().showScreen(list(second)));
    run(50); // what was on the line at the change
    const std::size_t since = world.frames.size();
    run(200);
    EXPECT_EQ(std::set<int>{2}, stationsAsked(since));
    EXPECT_FALSE(value(first).onScreen);
    EXPECT_FALSE(line().showScreen(QList<VariableId>()));
    run(50);
    const std::size_t empty = world.frames.size();
    run(1000);
    EXPECT_EQ(empty, world.frames.size()) << "an empty screen reads nothing";
}

TEST_F(LineVariables, CallsNothingStaleBecauseOfARequestOfTheScreenBefore)
{
    settings.timeoutMs = 10000;
    const VariableId wide = add("4x:0:100@1");
    const VariableId narrow = add("4x:3@1");
    EXPECT_FALSE(line().showScreen(list(wide)));
    open();
    run(200);
    for (int at = 0; at < 15; ++at) {
        EXPECT_FALSE(line().showScreen(list(wide)));
        run(100 + at); // somewhere between a request and the next
        EXPECT_FALSE(line().showScreen(list(narrow)));
        run(100);
    }
    run(60000);
    EXPECT_EQ(Quality::Good, value(narrow).quality);
    EXPECT_LE(value(narrow).ageMs, 100);
}

TEST_F(LineVariables, KeepsValueAndAgeOfWhatHasLeftTheScreenUntilItIsStale)
{
    world.registers[{1, 0}] = 5;
    const VariableId id = shown("4x:0@1");
    open();
    run(200);
    EXPECT_FALSE(line().showScreen(QList<VariableId>()));
    run(2000);
    EXPECT_EQ(Quality::Good, value(id).quality) << "it is not old yet";
    run(2000);
    EXPECT_EQ(5, number(id));
    EXPECT_GE(value(id).ageMs, 3990);
    EXPECT_EQ(Quality::Stale, value(id).quality);
    EXPECT_EQ(1, timesHeard(became(id, Quality::Stale))) << "it is told, though nothing has come";
    EXPECT_FALSE(line().showScreen(list(id)));
    EXPECT_EQ(Quality::Stale, value(id).quality) << "until it is read again";
    EXPECT_EQ(5, number(id));
    run(200);
    EXPECT_EQ(Quality::Good, value(id).quality);
}

TEST_F(LineVariables, TellsWhyAValueIsNotGoodAndKeepsIt)
{
    world.registers[{1, 0}] = 5;
    const VariableId id = shown("4x:0@1");
    open();
    run(200);
    world.refusing = {1};
    run(200);
    EXPECT_EQ(Quality::Refused, value(id).quality);
    EXPECT_EQ(2, value(id).exceptionCode);
    EXPECT_THAT(value(id).reason.toStdString(), HasSubstr("illegal data address"));
    EXPECT_THAT(value(id).reason.toStdString(), Not(HasSubstr("--"))) << "a panel has no options";
    EXPECT_EQ(5, number(id));
    world.refusing.clear();
    world.dead = {1};
    run(120);
    EXPECT_EQ(Quality::NoAnswer, value(id).quality);
    run(1000);
    EXPECT_EQ(Quality::Offline, value(id).quality);
    EXPECT_EQ(StationState::Offline, line().stationState(1));
    EXPECT_EQ(1, timesHeard("station 1 1"));
    world.dead.clear();
    run(20000);
    EXPECT_EQ(Quality::Good, value(id).quality);
    EXPECT_EQ(1, timesHeard("station 1 0"));
}

TEST_F(LineVariables, ShowsALostPortAndItsReturn)
{
    const VariableId id = shown("4x:0@1");
    open();
    run(200);
    world.isPortThere = false;
    run(200);
    EXPECT_EQ(Quality::PortLost, value(id).quality);
    EXPECT_EQ(PortState::Lost, line().portState());
    EXPECT_EQ("the port is gone.", line().portReason().toStdString());
    EXPECT_FALSE(line().showScreen(list(id, add("4x:9@2")))) << "a screen may change meanwhile";
    world.isPortThere = true;
    run(200);
    EXPECT_EQ(Quality::Good, value(id).quality);
    EXPECT_EQ(2u, stationsAsked(world.frames.size() - 4).size());
    EXPECT_EQ(1, timesHeard("port 2"));
    EXPECT_EQ(1, timesHeard("port 1"));
}

TEST_F(LineVariables, ReadsAStationThatIsSwitchedOffNoMore)
{
    const VariableId off = shown("4x:0@1");
    shown("4x:0@2");
    open();
    run(200);
    EXPECT_FALSE(line().setStationEnabled(1, false));
    EXPECT_EQ(Quality::SwitchedOff, value(off).quality);
    run(50);
    const std::size_t since = world.frames.size();
    run(200);
    EXPECT_EQ(std::set<int>{2}, stationsAsked(since));
    line().close();
    open();
    run(200);
    EXPECT_EQ(Quality::SwitchedOff, value(off).quality) << "also over close() and open()";
    EXPECT_FALSE(line().setStationEnabled(1, true));
    run(200);
    EXPECT_EQ(Quality::Good, value(off).quality);
    for (const int station : {-1, 0, 248})
        EXPECT_EQ(ErrorKind::Usage, line().setStationEnabled(station, false).kind);
}

TEST_F(LineVariables, TakesAVariableFromTheScreenWhenItIsRemoved)
{
    const VariableId gone = shown("4x:0@1");
    const VariableId kept = shown("4x:0@2");
    open();
    run(200);
    EXPECT_FALSE(line().removeVariable(gone));
    EXPECT_EQ(list(kept), line().screen());
    EXPECT_EQ(0, value(gone).id);
    run(50);
    const std::size_t since = world.frames.size();
    run(200);
    EXPECT_EQ(std::set<int>{2}, stationsAsked(since));
    EXPECT_EQ(ErrorKind::Usage, line().removeVariable(gone).kind);
    EXPECT_NE(gone, add("4x:0@1")) << "ids are not used again";
}

TEST_F(LineVariables, TakesAPriorityBeforeItIsOpenAndNoneAfterwards)
{
    VariableSettings fast("4x:0@1");
    fast.priority = 4;
    fast.name = QString::fromLatin1("fast");
    Error error;
    EXPECT_NE(0, line().addVariable(fast, &error));
    open();
    EXPECT_EQ(0, line().addVariable(fast, &error));
    EXPECT_EQ(ErrorKind::Usage, error.kind);
    EXPECT_THAT(error.text.toStdString(), HasSubstr("open()"));
    fast.priority = 0;
    EXPECT_NE(0, line().addVariable(fast, &error));
    EXPECT_FALSE(error);
    fast.priority = 5;
    EXPECT_EQ(0, line().addVariable(fast, &error));
}

TEST_F(LineVariables, ReadsPlacesWithAPriorityMoreOften)
{
    QList<VariableId> screen;
    for (int i = 0; i < 12; ++i) {
        VariableSettings slow(QString::fromLatin1("4x:%1@1").arg(i * 200));
        slow.priority = i == 0 ? 4 : 0;
        screen.append(line().addVariable(slow));
    }
    EXPECT_FALSE(line().showScreen(screen));
    open();
    run(2000);
    std::map<int, int> reads;
    for (const QByteArray &frame : world.frames)
        ++reads[static_cast<unsigned char>(frame.at(2)) * 256 + static_cast<unsigned char>(frame.at(3))];
    EXPECT_GT(reads[0], 2 * reads[200]);
    EXPECT_FALSE(line().showScreen(QList<VariableId>()));
    run(50);
    const std::size_t since = world.frames.size();
    run(1000);
    EXPECT_EQ(since, world.frames.size()) << "also those with a priority leave with the screen";
}

TEST_F(LineVariables, ReadsPlacesWithAPriorityAlsoWhereEveryOtherStationIsOffline)
{
    VariableSettings fast("4x:0@1");
    fast.priority = 4;
    const VariableId id = line().addVariable(fast);
    QList<VariableId> screen = list(id);
    for (const char *place : {"4x:200@2", "4x:400@2", "4x:600@2", "4x:800@2"})
        screen.append(add(place));
    EXPECT_FALSE(line().showScreen(screen));
    world.dead = {2};
    open();
    run(5000);
    EXPECT_EQ(StationState::Offline, line().stationState(2));
    world.registers[{1, 0}] = 5;
    run(1000);
    EXPECT_EQ(5, number(id));
    EXPECT_EQ(Quality::Good, value(id).quality);
}

TEST_F(LineVariables, RefusesWhatIsNoVariableAndWhatNobodyCanRead)
{
    Error error;
    EXPECT_EQ(0, line().addVariable("5x:1", &error));
    EXPECT_EQ(ErrorKind::Usage, error.kind);
    EXPECT_THAT(error.text.toStdString(), HasSubstr("areas are 0x, 1x"));
    EXPECT_EQ(0, line().addVariable("4x:65536", &error));
    VariableSettings fields;
    fields.area = QString::fromLatin1("4x");
    fields.address = QString::fromLatin1("12");
    fields.count = 3;
    fields.station = 9;
    const VariableId id = line().addVariable(fields, &error);
    EXPECT_FALSE(error) << error.text.toStdString();
    EXPECT_EQ("4x:12:3@9", line().variableSettings(id).place.toStdString());
    const VariableId everybody = add("4x:1@0");
    EXPECT_EQ(ErrorKind::Usage, line().showScreen(list(id, everybody)).kind);
    EXPECT_TRUE(line().screen().isEmpty()) << "nothing has changed";
    EXPECT_EQ(ErrorKind::Usage, line().showScreen(list(4711)).kind);
}

TEST_F(LineVariables, HasValuesInTheFormThatItsRegistersHaveThem)
{
    // 12.5 is 41480000 in hexadecimal.
    world.registers[{1, 0}] = 0x4148;
    world.registers[{1, 11}] = 0x4148; // the lower half at the lower address
    world.registers[{1, 20}] = 0xFFFE;
    world.registers[{1, 30}] = 0x4162; // "Ab"
    world.registers[{1, 31}] = 0x6300; // "c"
    world.registers[{1, 40}] = 0x12AB;
    const VariableId real = shown("4x:0/f32@1");
    const VariableId turned = shown("4x:10/f32.cdab@1");
    const VariableId negative = shown("4x:20/i16@1");
    const VariableId text = shown("4x:30/str4@1");
    const VariableId bad = shown("4x:40/bcd@1");
    open();
    run(500);
    EXPECT_EQ(Value(12.5), value(real).values.value(0));
    EXPECT_EQ(Value(12.5), value(turned).values.value(0));
    EXPECT_EQ(Value(-2), value(negative).values.value(0));
    EXPECT_EQ(Value("Abc"), value(text).values.value(0));
    EXPECT_TRUE(value(bad).values.value(0).isBad);
}

TEST_F(LineVariables, WritesValuesInTheFormOfItsRegistersAndRefusesWhatDoesNotFit)
{
    VariableSettings scaled("4x:0/i16@1");
    scaled.scale = 0.1;
    const VariableId tenths = line().addVariable(scaled);
    VariableSettings fields;
    fields.area = QString::fromLatin1("4x");
    fields.address = QString::fromLatin1("10");
    fields.format = Format::F32;
    fields.order = ByteOrder::Cdab;
    fields.station = 1;
    const VariableId real = line().addVariable(fields);
    EXPECT_EQ("4x:10:1/f32.cdab@1", line().variableSettings(real).place.toStdString());
    open();
    EXPECT_EQ(OrderEnd::Good, line().wait(line().write(tenths, Value(-2.04))).end);
    EXPECT_EQ(0xFFEC, (world.registers[{1, 0}])) << "-20, rounded to the nearest";
    EXPECT_EQ(OrderEnd::Good, line().wait(line().write(real, Value(12.5))).end);
    EXPECT_EQ(0x4148, (world.registers[{1, 11}]));
    Error error;
    EXPECT_EQ(0, line().write(tenths, Value(3276.8), -1, &error));
    EXPECT_EQ(ErrorKind::Usage, error.kind);
    EXPECT_THAT(error.text.toStdString(), HasSubstr("4x:0/i16@1"));
    EXPECT_EQ(0, line().write(real, Value("a text"), -1, &error));
    EXPECT_EQ(0, line().write(real, Value(), -1, &error));
}

TEST_F(LineVariables, TakesEveryFormatByItsFieldsAndNoOther)
{
    VariableSettings fields;
    fields.area = QString::fromLatin1("4x");
    fields.address = QString::fromLatin1("10");
    fields.station = 1;
    const char *const places[] = {"4x:10:1@1",     "4x:10:1/u16@1", "4x:10:1/i16@1", "4x:10:1/hex@1",
                                  "4x:10:1/bin@1", "4x:10:1/bcd@1", "4x:10:1/u32@1", "4x:10:1/i32@1",
                                  "4x:10:1/f32@1", "4x:10:1/u64@1", "4x:10:1/i64@1", "4x:10:1/f64@1",
                                  "4x:10:1/str7@1"};
    for (int format = 0; format <= static_cast<int>(Format::Text); ++format) {
        fields.format = static_cast<Format>(format);
        fields.textBytes = fields.format == Format::Text ? 7 : 0;
        const VariableId id = line().addVariable(fields);
        EXPECT_EQ(places[format], line().variableSettings(id).place.toStdString());
    }
    fields.format = Format::U64;
    const char *const orders[] = {"", ".cdab", ".badc", ".dcba"};
    for (int order = 0; order < 4; ++order) {
        fields.order = static_cast<ByteOrder>(order);
        const VariableId id = line().addVariable(fields);
        EXPECT_EQ(std::string("4x:10:1/u64") + orders[order] + "@1",
                  line().variableSettings(id).place.toStdString());
    }
    fields.format = Format::Default;
    EXPECT_EQ(0, line().addVariable(fields)) << "a byte order of what has no format";
    fields.order = ByteOrder::Abcd;
    fields.format = static_cast<Format>(static_cast<int>(Format::Text) + 1);
    EXPECT_EQ(0, line().addVariable(fields));
}

TEST_F(LineVariables, GivesNamesBackAsTheyWere)
{
    VariableSettings named("4x:1@1");
    named.name = QString::fromUtf8("Temp\u00e9rature \u00b0C");
    const VariableId id = line().addVariable(named);
    EXPECT_EQ(id, line().findVariable(named.name));
    EXPECT_EQ(named.name, line().variableSettings(id).name);
}

TEST_F(LineVariables, RefusesAScaleWhereThereAreNoNumbersAndOneWithoutAReverse)
{
    for (const char *place : {"0x:0@1", "4x_bit:1.3@1", "4x:0/str4@1"}) {
        VariableSettings scaled(place);
        scaled.offset = 1;
        Error error;
        EXPECT_EQ(0, line().addVariable(scaled, &error)) << place;
        EXPECT_EQ("variable '" + std::string(place) + "': bits and texts have neither scale nor offset",
                  error.text.toStdString());
    }
    VariableSettings tiny("4x:0@1");
    tiny.scale = 1e-310;
    EXPECT_EQ(0, line().addVariable(tiny)) << "1 / scale is infinite";
}

TEST_F(LineVariables, SaysThatAValueCameInTwoPieces)
{
    settings.maxBlock = 3;
    const VariableId whole = shown("4x:0/f32@1");
    const VariableId cut = shown("4x:10/f64@1"); // four registers, three in a request
    open();
    run(500);
    EXPECT_EQ(Quality::Good, value(cut).quality);
    EXPECT_TRUE(value(cut).inPieces);
    EXPECT_FALSE(value(whole).inPieces);
}

TEST_F(LineVariables, ReadsItsOwnRegistersWhereRequestsEndBetweenValuesHoweverTheyAreCounted)
{
    settings.maxBlock = 3;
    world.registers[{1, 0}] = 7;
    world.registers[{1, 2}] =
        0x4148; // 12.5 is 41480000 in hexadecimal; a request of three registers would cut it
    for (const bool oneBased : {false, true}) {
        LineSettings counted = settings;
        counted.driverOptions = oneBased ? plc::kOptionOneBased : 0;
        const std::unique_ptr<Line> own(LineAccess::make(counted, plc::test::groundOf(world)));
        const VariableId first = own->addVariable(oneBased ? "4x:1@1" : "4x:0@1");
        const VariableId real = own->addVariable(oneBased ? "4x:3/f32@1" : "4x:2/f32@1");
        EXPECT_FALSE(own->showScreen(list(first, real)));
        EXPECT_FALSE(own->open());
        for (int i = 0; i < 20; ++i)
            own->poll(20);
        EXPECT_EQ(7, own->value(first).values.value(0).toInteger()) << oneBased;
        EXPECT_EQ(Value(12.5), own->value(real).values.value(0)) << oneBased;
        EXPECT_FALSE(own->value(real).inPieces);
    }
}

TEST_F(LineVariables, IsFoundByItsName)
{
    VariableSettings named("4x:1");
    named.name = QString::fromLatin1("speed");
    const VariableId id = line().addVariable(named);
    EXPECT_EQ(id, line().findVariable(QString::fromLatin1("speed")));
    EXPECT_EQ(0, line().findVariable(QString::fromLatin1("sped")));
    EXPECT_EQ(0, line().findVariable(QString()));
}

TEST_F(LineVariables, KeepsThePaceOfItsScans)
{
    settings.pollIntervalMs = 1000;
    shown("4x:0@1");
    shown("4x:0@2");
    open();
    run(10000);
    EXPECT_LE(world.frames.size(), 24u) << "two a second, and some until the screen is known";
    EXPECT_GE(world.frames.size(), 18u);
}

} // namespace
