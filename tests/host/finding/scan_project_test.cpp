#include "host/finding/scan_project.h"

#include <gtest/gtest.h>

namespace {

using namespace plc::host;

const ScanSetting kFew{9600, Parity::Even, 1};
const ScanSetting kMost{19200, Parity::None, 2};

Find found(int station, const ScanSetting &setting)
{
    Find find;
    find.station = station;
    find.setting = setting;
    return find;
}

const std::vector<Find> kFinds{found(3, kFew), found(5, kMost), found(17, kMost)};

LineSettings lineOf(const ScanSetting &setting)
{
    LineSettings line;
    line.port = "/dev/ttyS0";
    line.baud = setting.baud;
    line.parity = setting.parity;
    line.stopBits = setting.stopBits;
    return line;
}

TEST(ScanProject, IsOfTheSettingWithMostStations)
{
    EXPECT_EQ("19200 8N2", mostFound(kFinds).text());
    EXPECT_EQ("9600 8E1", mostFound({found(3, kFew), found(5, kMost)}).text()) << "the first of equals";
}

TEST(ScanProject, HasAVariableForEachStationAtItsSetting)
{
    const Project project = projectOf(kFinds, lineOf(kMost), false, "4x:100");
    EXPECT_EQ(19200, project.link.baud);
    EXPECT_EQ(Parity::None, project.link.parity);
    EXPECT_EQ(2, project.link.effectiveStopBits());
    ASSERT_EQ(2u, project.variables.size());
    EXPECT_EQ("Station 5", project.variables.at(0).label);
    EXPECT_EQ(17, project.variables.at(1).station);
    EXPECT_EQ(5, project.link.station);
    EXPECT_FALSE(project.link.echo);
}

TEST(ScanProject, TellsTheEchoOfTheLine)
{
    EXPECT_TRUE(projectOf(kFinds, lineOf(kMost), true, "4x:100").link.echo);
}

} // namespace
