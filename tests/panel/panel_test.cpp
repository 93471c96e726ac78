// The panel of the examples on simulated stations, driven as a person would drive it: pages, presses and
// typing; and what it shows when something goes wrong, and when that is over.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QApplication>
#include <QTableWidget>
#include <QtTest/QtTest>

#include <functional>
#include <memory>

#include "stations.h"
#include "tiles.h"
#include "window.h"

namespace {

using namespace plc::test;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

/// Long enough for a loaded machine; reached only when something never comes.
constexpr int kPatienceMs = 120000;

std::string folder()
{
    const char *path = std::getenv("TEST_TMPDIR");
    return path == nullptr ? "/tmp/" : path;
}

/// A machine that is busy with other things makes no station late.
plcruntime::LineSettings patientSettings(const Stations &stations)
{
    plcruntime::LineSettings settings = panelSettings(QString::fromStdString(stations.port()));
    settings.timeoutMs = 1000;
    return settings;
}

class Panel : public ::testing::Test
{
protected:
    Panel()
    {
        stations.plugIn();
        for (const char *values :
             {"set 1 4x:5000 90", "set 1 4x:3000 90 5 965", "set 1 3x:3 655", "set 3 3x:17 620",
              "set 1 3x:6 612", "set 3 3x:0 1111", "set 1 3x:0 1080", "set 1 4x:1000 90", "set 1 4x:1002 20"})
            stations.say(values);
        for (int station = 1; station <= 8; ++station)
            stations.say("set " + std::to_string(station) + " 4x:2000 2");
        window->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(window.get(), kPatienceMs));
        window->activateWindow(); // there is no window manager to do so
        QApplication::setActiveWindow(window.get());
        machine.start();
    }

    /// What the visible object of that name shows: a tile its description, everything else its text.
    std::string shown(const QString &name)
    {
        const QWidget *widget = visible(name);
        if (widget == nullptr)
            return "nothing of that name";
        if (const auto *tile = qobject_cast<const Tile *>(widget))
            return tile->accessibleDescription().toStdString();
        const QVariant text = widget->property("text");
        return text.toString().toStdString();
    }
    /// The rows of a table, their cells with | between.
    std::string rows(const QString &name)
    {
        std::string text;
        const auto *table = qobject_cast<QTableWidget *>(visible(name));
        for (int row = 0; table != nullptr && row < table->rowCount(); ++row) {
            for (int column = 0; column < table->columnCount(); ++column)
                text += (column > 0 ? "|" : "") + table->item(row, column)->text().toStdString();
            text += '\n';
        }
        return text;
    }

    QWidget *visible(const QString &name)
    {
        QWidget *parent = QApplication::activeModalWidget();
        for (QWidget *widget : (parent != nullptr ? parent : window.get())->findChildren<QWidget *>(name)) {
            if (widget->isVisible())
                return widget;
        }
        ADD_FAILURE() << "nobody can see " << name.toStdString();
        return nullptr;
    }
    void press(const QString &name)
    {
        if (QWidget *widget = visible(name))
            QTest::mouseClick(widget, Qt::LeftButton);
    }
    /// Presses what opens the keypad, and does the rest while it is open.
    void pressForKeypad(const std::function<void()> &open, const std::function<void()> &rest)
    {
        bool wasOpen = false;
        QTimer::singleShot(0, window.get(), [&] {
            wasOpen = QApplication::activeModalWidget() != nullptr;
            rest();
            if (QWidget *keypad = QApplication::activeModalWidget())
                keypad->close();
        });
        open();
        EXPECT_TRUE(wasOpen);
    }
    void showPage(const QString &name) { press("page." + name); }

    template <typename Matcher>
    void awaitShown(const QString &name, const Matcher &matcher)
    {
        await([&] { return ::testing::Value(shown(name), matcher); });
        EXPECT_THAT(shown(name), matcher) << name.toStdString();
    }
    template <typename Matcher>
    void awaitRows(const QString &name, const Matcher &matcher)
    {
        await([&] { return ::testing::Value(rows(name), matcher); });
        EXPECT_THAT(rows(name), matcher) << name.toStdString();
    }
    static void await(const std::function<bool()> &condition)
    {
        EXPECT_TRUE(QTest::qWaitFor(condition, kPatienceMs)) << "that never came";
    }
    void keepPicture(const QString &name)
    {
        QTest::qWait(0);
        const QString path = QString::fromLocal8Bit(qgetenv("PLC_PICTURES")) + "/" + name + ".png";
        if (qEnvironmentVariableIsSet("PLC_PICTURES")) {
            EXPECT_TRUE(window->grab().save(path)) << path.toStdString();
        }
    }

    Stations stations{folder() + "panel_line_" + std::to_string(getpid())};
    Machine machine{patientSettings(stations)};
    const std::unique_ptr<QWidget> window{makeWindow(&machine, "overview")};
};

TEST_F(Panel, ShowsWhatTheStationsHoldInItsUnits)
{
    EXPECT_EQ("– – –, not read yet", shown("Line.Line speed")) << "no number that was never read";
    awaitShown("Line.Line speed", "90");
    awaitShown("Line.Efficiency", "96.5");
    awaitShown("Filler.Actual.Fill level", "62.0");
    awaitShown("Line.Actual.Air pressure", "6.12");
    awaitShown("Wrapper.State", "Running");
    stations.say("set 8 4x:2000 3");
    awaitShown("Wrapper.State", "Waiting");
    stations.say("set 1 3x:6 412");
    awaitShown("Line.Actual.Air pressure", "4.12, ▼ low");
    keepPicture("overview");
}

TEST_F(Panel, ReadsWhatThePageShowsAndNothingElse)
{
    const auto isRead = [this](const char *name) {
        return machine.line().value(machine.line().findVariable(name)).onScreen;
    };
    awaitShown("Line.Actual.Air pressure", "6.12");
    EXPECT_FALSE(isRead("Line.Set.Nominal speed"));
    showPage("settings");
    awaitShown("Line.Set.Nominal speed", "90");
    EXPECT_FALSE(isRead("Line.Actual.Air pressure"));
    EXPECT_TRUE(isRead("Line.Alarm word")) << "alarms are read on every page";

    showPage("part");
    awaitShown("Line.Actual.Speed", "1080");
    EXPECT_FALSE(isRead("Filler.Actual.Speed"));
    press("part.Filler");
    awaitShown("Filler.Actual.Speed", "1111");
    EXPECT_FALSE(isRead("Line.Actual.Speed"));
    showPage("overview");
    press("Capper.State");
    EXPECT_TRUE(visible("Capper.Actual.Speed")) << "the tile of a part leads to its page";
    awaitShown("Capper.Actual.Speed", "0");
}

TEST_F(Panel, WritesABitAndShowsItAsWantedUntilItIsRead)
{
    awaitShown("Line.Start", "");
    press("Line.Start");
    EXPECT_EQ("on, writing …", shown("Line.Start")) << "nothing is known yet";
    awaitShown("Line.Start", "on");
    EXPECT_EQ("1 0x:0 1", stations.get("1 0x:0"));
    stations.say("set 1 0x:0 0");
    awaitShown("Line.Start", "");
}

TEST_F(Panel, TakesNumbersWithinTheirLimitsByFingerAndByKeyboard)
{
    showPage("settings");
    awaitShown("Line.Set.Nominal speed", "90");
    pressForKeypad([this] { press("Line.Set.Nominal speed"); },
                   [this] {
                       EXPECT_EQ("20 to 120", shown("limits"));
                       press("key.1");
                       press("key.2");
                       press("key.1");
                       EXPECT_EQ("✕ not within 20 to 120", shown("limits"));
                       press("key.Enter");
                       EXPECT_TRUE(visible("number")) << "what is out of the limits is not taken";
                       press("key.Delete");
                       press("key.Delete");
                       EXPECT_EQ("✕ not within 20 to 120", shown("limits"));
                       press("key.0");
                       press("key.0");
                       press("key.Enter");
                   });
    EXPECT_EQ("100, writing …", shown("Line.Set.Nominal speed"));
    awaitShown("Line.Set.Nominal speed", "100");
    EXPECT_EQ("1 4x:1000 100", stations.get("1 4x:1000"));

    // Typed, with a decimal, and only by keys.
    QWidget *ramp = visible("Line.Set.Ramp up");
    ramp->setFocus();
    pressForKeypad([&] { QTest::keyClick(ramp, Qt::Key_Space); },
                   [this] {
                       QTest::keyClicks(visible("number"), "2.5x");
                       QTest::keyClick(visible("number"), Qt::Key_Return);
                   });
    awaitShown("Line.Set.Ramp up", "2.5");
    EXPECT_EQ("1 4x:1002 25", stations.get("1 4x:1002"));
    pressForKeypad([&] { QTest::keyClick(ramp, Qt::Key_Space); },
                   [this] {
                       QTest::keyClicks(visible("number"), "7");
                       QTest::keyClick(visible("number"), Qt::Key_Escape);
                   });
    awaitShown("Line.Set.Ramp up", "2.5");
    EXPECT_EQ("1 4x:1002 25", stations.get("1 4x:1002"));
    keepPicture("settings");
}

TEST_F(Panel, HasAKeyForEachPageAndOneFocusAfterTheOther)
{
    QTest::keyClick(window.get(), Qt::Key_F3);
    awaitShown("title", "Settings");
    QTest::keyClick(window.get(), Qt::Key_F1);
    awaitShown("title", "Overview");
    awaitShown("Line.Start", "");
    QStringList visited;
    for (int i = 0; i < 30; ++i) {
        QTest::keyClick(QApplication::focusWidget() != nullptr ? QApplication::focusWidget() : window.get(),
                        Qt::Key_Tab);
        if (QApplication::focusWidget() != nullptr)
            visited.append(QApplication::focusWidget()->objectName());
    }
    for (const char *name :
         {"Line.State", "Wrapper.State", "Line.Start", "Line.Reset", "page.overview", "alarmBanner"})
        EXPECT_TRUE(visited.contains(name)) << name;
    EXPECT_FALSE(visited.contains("Line.Line speed")) << "what cannot be pressed is passed over";
}

TEST_F(Panel, TellsADeadStationAndWhenItIsBack)
{
    awaitShown("Filler.State", "Running");
    awaitShown("alarmBanner", "No alarms");
    stations.say("dead 3");
    awaitShown("Filler.Actual.Fill level", StartsWith("62.0, offline, "));
    awaitShown("Filler.State", StartsWith("Running, offline, "));
    awaitShown("Capper.State", "Running"); // the others go on
    awaitShown("alarmBanner", "▲ Filler (station 3) does not answer");
    showPage("line");
    awaitRows("stations", HasSubstr("3|Filler|▲ offline|"));
    awaitRows("stations", HasSubstr("4|Capper|on|"));
    showPage("alarms");
    EXPECT_THAT(rows("alarms"), HasSubstr("|active|▲ Filler (station 3) does not answer\n"));

    stations.say("alive 3");
    awaitShown("alarmBanner", "No alarms");
    EXPECT_THAT(rows("alarms"), Not(HasSubstr("active"))) << "it has a time at which it went";
    EXPECT_THAT(rows("alarms"), HasSubstr(":"));
    showPage("overview");
    awaitShown("Filler.Actual.Fill level", "62.0");
    awaitShown("Filler.State", "Running");
}

TEST_F(Panel, SaysThatAWriteWasRefusedAndKeepsTheValueOfTheStation)
{
    showPage("settings");
    awaitShown("Line.Set.Nominal speed", "90");
    stations.say("refuse-writes 1");
    const auto type = [this](const char *number) {
        pressForKeypad([this] { press("Line.Set.Nominal speed"); },
                       [this, number] {
                           QTest::keyClicks(visible("number"), number);
                           press("key.Enter");
                       });
    };
    type("75");
    awaitShown("Line.Set.Nominal speed", "90, refused (code 1)");
    awaitShown("alarmBanner", "▲ Line.Set.Nominal speed: refused (code 1)");
    EXPECT_EQ("1 4x:1000 90", stations.get("1 4x:1000"));
    showPage("line");
    awaitRows("orders", HasSubstr("Nominal speed = 75\n▲ refused (code 1)\n"));

    stations.say("alive 1");
    showPage("settings");
    type("76");
    awaitShown("Line.Set.Nominal speed", "76");
    awaitShown("alarmBanner", "No alarms");
    showPage("line");
    awaitRows("orders", StartsWith("Nominal speed = 76\ndone\n"));
    await([this] { return machine.scanMs() > 0; });
    keepPicture("line");
}

TEST_F(Panel, ShowsValuesThatAStationRefusesAsRefused)
{
    awaitShown("Filler.Actual.Fill level", "62.0");
    stations.say("refuse 3 4");
    awaitShown("Filler.Actual.Fill level", StartsWith("62.0, refused (code 4), "));
    stations.say("alive 3");
    awaitShown("Filler.Actual.Fill level", "62.0");
}

TEST_F(Panel, TellsALostPortOnceAndGoesOnWhenItIsBack)
{
    awaitShown("Line.Line speed", "90");
    awaitShown("lineState", StartsWith("Line good"));
    stations.pullOut();
    awaitShown("Line.Line speed", StartsWith("90, no line, "));
    awaitShown("lineState", StartsWith("▲ No line"));
    EXPECT_EQ("▲ No line: the port is gone", shown("alarmBanner"))
        << "one alarm for the line, none for each station";
    press("Line.Start");
    awaitShown("Line.Start", "not sent: no line");
    stations.plugIn();
    awaitShown("Line.Line speed", "0, ▼ low");
    awaitShown("lineState", StartsWith("Line good"));
    EXPECT_EQ("1 0x:0 0", stations.get("1 0x:0")) << "nothing is written later on, when nobody expects it";
    showPage("alarms");
    EXPECT_THAT(rows("alarms"), HasSubstr("|No line: the port is gone\n"));
    EXPECT_THAT(rows("alarms"), Not(HasSubstr("active|▲ No line")));
}

TEST_F(Panel, ListsAlarmsOfTheMachineUntilTheyHaveGone)
{
    showPage("alarms");
    stations.say("set 1 4x:5002 1");
    awaitRows("alarms", HasSubstr("|active|▲ Emergency stop pressed\n"));
    stations.say("set 5 4x:2001 17");
    awaitRows("alarms", HasSubstr("|active|▲ Labeller: fault 17\n"));
    awaitShown("alarmBanner", "▲ 2: Labeller: fault 17");
    stations.say("set 1 4x:5002 0");
    awaitRows("alarms", Not(HasSubstr("active|▲ Emergency")));
    awaitShown("alarmBanner", "▲ Labeller: fault 17");
    showPage("overview");
    press("alarmBanner");
    EXPECT_EQ("Alarms", shown("title")) << "the banner leads to the list";
}

TEST_F(Panel, DrawsATrendWithAHoleWhereNothingWasKnown)
{
    const auto countGood = [this] {
        const QVector<double> samples = machine.samples(0);
        return std::count_if(samples.begin(), samples.end(),
                             [](double sample) { return !std::isnan(sample); });
    };
    showPage("trend");
    await([&] { return countGood() >= 2; });
    stations.pullOut();
    await([&] { return std::isnan(machine.samples(0).last()); });
    const auto before = countGood();
    stations.plugIn();
    await([&] { return countGood() >= before + 2; });
    EXPECT_TRUE(visible("plot"));
    keepPicture("trend");
}

TEST_F(Panel, CountsScansAndFailuresOnTheLinePage)
{
    showPage("line");
    await([this] { return machine.scanMs() > 0; });
    awaitShown("facts", HasSubstr("Scan " + std::to_string(machine.scanMs()) + " ms"));
    stations.say("dead 8");
    awaitRows("stations", HasSubstr("8|Wrapper|▲ offline|"));
    EXPECT_THAT(shown("facts"), Not(HasSubstr("Time-outs 0 ")));
}

TEST(PanelWithoutAPort, SaysSoAndBeginsWhenThereIsOne)
{
    Stations stations(folder() + "panel_late_" + std::to_string(getpid()));
    Machine machine(patientSettings(stations));
    const std::unique_ptr<QWidget> window(makeWindow(&machine, "overview"));
    window->show();
    machine.start();
    EXPECT_THAT(machine.portReason().toStdString(), HasSubstr(stations.port()));
    ASSERT_EQ(1, machine.alarms().size());
    stations.plugIn();
    EXPECT_TRUE(QTest::qWaitFor([&] { return !machine.alarms().first().isActive(); }, kPatienceMs));
}

} // namespace

int main(int argc, char **argv)
{
    ::testing::InitGoogleMock(&argc, argv);
    const QApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
