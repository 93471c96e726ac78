#include "host/project/register_map.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/project/project_writer.h"
#include "runtime/line/failure.h"

namespace {

using namespace plc::host;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

Project mapped(const std::string &text, const LinkSettings &link = LinkSettings())
{
    return parseRegisterMap("m.csv", text, link);
}

/// Name, area, address, count, station and rate class of each variable.
std::vector<std::string> variablesOf(const Project &project)
{
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < project.variables.size(); ++i) {
        const Variable &variable = project.variables[i];
        lines.push_back(variable.label + " = " + variable.area->name + " " + variable.address.toStdString() +
                        " x " + std::to_string(variable.count) + " @ " + std::to_string(*variable.station) +
                        ", " + std::to_string(project.rates.at(i)));
    }
    return lines;
}

/// What the first mistake of @p text is called.
std::string mistake(const std::string &text)
{
    try {
        mapped(text);
    } catch (const Failure &failure) {
        EXPECT_EQ(FailureKind::Usage, failure.kind());
        return failure.what();
    }
    return "no mistake";
}

TEST(RegisterMap, HasAVariableALine)
{
    EXPECT_THAT(variablesOf(mapped("name,area,address,station,count,rate\n"
                                   "Speed,4x,100,5,8,2\n"
                                   "Door,4x_bit,35.10,2,1,0\n")),
                ElementsAre("Speed = 4x 100 x 8 @ 5, 2", "Door = 4x_bit 35.10 x 1 @ 2, 0"));
}

TEST(RegisterMap, TakesItsColumnsInAnyOrderAndInCapitalsToo)
{
    EXPECT_THAT(variablesOf(mapped("Address,NAME,area\n7,Lamp,0x\n")), ElementsAre("Lamp = 0x 7 x 1 @ 1, 0"));
}

TEST(RegisterMap, IsSeparatedAsItsFirstLineIs)
{
    EXPECT_THAT(variablesOf(mapped("name;area;address\nA. B;4x;1\n")), ElementsAre("A. B = 4x 1 x 1 @ 1, 0"));
    EXPECT_THAT(variablesOf(mapped("name\tarea\taddress\nA;B\t4x\t1\n")),
                ElementsAre("A;B = 4x 1 x 1 @ 1, 0"));
}

TEST(RegisterMap, TakesWhatSpreadsheetsStore)
{
    // Byte order mark, carriage returns, quotation marks, blanks, empty lines, no end of the last line.
    EXPECT_THAT(
        variablesOf(mapped("\xEF\xBB\xBFname,area,address\r\n\r\n\"Druck \xC3\xBC\" , 4x ,\"100\"\r\n,,\r\n"
                           "B,4x,101")),
        ElementsAre("Druck \xC3\xBC = 4x 100 x 1 @ 1, 0", "B = 4x 101 x 1 @ 1, 0"));
}

TEST(RegisterMap, TakesEmptyAndMissingCellsForTheUsualValues)
{
    LinkSettings link;
    link.station = 9;
    EXPECT_THAT(variablesOf(mapped("name,area,address,station,count,rate\nA,4x,1,,,\nB,4x,2\n", link)),
                ElementsAre("A = 4x 1 x 1 @ 9, 0", "B = 4x 2 x 1 @ 9, 0"));
}

TEST(RegisterMap, HasTheSettingsThatItIsGiven)
{
    LinkSettings link;
    link.baud = 9600;
    link.options = plc::kOptionOneBased;
    const Project project = mapped("name,area,address\nA,4x,1\n", link);
    EXPECT_EQ(9600, project.link.baud);
    EXPECT_EQ(0, project.variables.at(0).first) << "counted from 1, as the option says";
}

TEST(RegisterMap, MakesThePriorityRowsOfItsRateClasses)
{
    const Project project = mapped("name,area,address,rate\nA,4x,1,3\n");
    ASSERT_EQ(1u, project.rows.size());
    EXPECT_EQ(3, project.rows[0].level);
    EXPECT_EQ(0u, project.writtenRows);
}

TEST(RegisterMap, TellsTheLineAndTheColumnOfAMistake)
{
    EXPECT_EQ("m.csv, line 3, column 3: '5x' is no area; areas are 0x, 1x, 3x, 4x, 3x_bit, 4x_bit, "
              "3x_d, 4x_d, "
              "4x_single, 4x_block",
              mistake("name,area,address\nA,4x,1\nB,5x,2\n"));
    EXPECT_THAT(mistake("name,area,address\n\xC3\xBC,4x,zwei\n"),
                HasSubstr("m.csv, line 2, column 6: an address"));
    EXPECT_EQ(
        "m.csv, line 3, column 1: 'A' is the name of another variable already, in line 2; each needs its own",
        mistake("name,area,address\nA,4x,1\nA,4x,2\n"));
    EXPECT_EQ("m.csv, line 2, column 8: this must be a whole number from 1 to 247",
              mistake("name,area,address,station\nA,4x,1,300\n"));
    EXPECT_EQ("m.csv, line 2, column 8: this must be a whole number from 1 to 247",
              mistake("name,area,address,station\nA,4x,1,one\n"));
    EXPECT_EQ("m.csv, line 2, column 8: this must be a whole number from 0 to 4",
              mistake("name,area,address,rate\nA,4x,1,99999999999999999999\n"));
    EXPECT_EQ("m.csv, line 2, column 1: the variable has no 'address'; it needs name, area and address",
              mistake("name,area,address\nA,4x\n"));
}

TEST(RegisterMap, HasALineForEachHole)
{
    const std::string map =
        "name,area,address,station,count,rate,kind\nLevel,4x,100,5,4,0,\n,4x,104,5,6,,hole\n";
    const Project project = parseRegisterMap("m.csv", map, LinkSettings());
    ASSERT_EQ(1u, project.variables.size());
    ASSERT_EQ(1u, project.link.holes.size());
    EXPECT_EQ(5, project.link.holes[0].station);
    EXPECT_EQ(5, project.link.holes[0].baseType);
    EXPECT_EQ(104, project.link.holes[0].first);
    EXPECT_EQ(6, project.link.holes[0].count);
    EXPECT_EQ(map, registerMapText(project));
    EXPECT_EQ("m.csv, line 2, column 14: the kind of a line is empty, or 'hole' for what the station refuses",
              mistake("name,area,address,kind\nLevel,4x,100,pit\n"));
}

TEST(RegisterMap, RefusesColumnsThatItDoesNotKnow)
{
    EXPECT_EQ(
        "m.csv, line 1, column 6: 'units' is no column of a map; columns are name, area, address, station, "
        "count, rate, format, scale, offset, unit, min, max, texts, description, kind",
        mistake("name,units\n"));
    EXPECT_EQ("m.csv, line 1, column 6: the column 'name' is there already", mistake("name,Name\n"));
    EXPECT_EQ("m.csv, line 3, column 8: this line has more cells than there are columns",
              mistake("name,area,address\nA,4x,1,\nB,4x,2,3\n"));
}

TEST(RegisterMap, RefusesWhatIsNoTable)
{
    EXPECT_EQ(
        "m.csv, line 1, column 1: a map begins with the names of its columns: name, area, address, station, "
        "count, rate, format, scale, offset, unit, min, max, texts, description, kind",
        mistake(""));
    EXPECT_EQ("m.csv, line 1, column 1: the project has no variable; at least one is needed",
              mistake("name,area,address\n"));
    EXPECT_EQ(
        "m.csv, line 2, column 3: a quotation mark stands inside a cell; write it twice and the cell in "
        "quotation marks",
        mistake("name,area,address\nA \"B\",4x,1\n"));
    EXPECT_EQ("m.csv, line 2, column 3: the quotation mark that begins this cell has no other",
              mistake("name,area,address\nA,\"4x,1\nB,4x,2\n"));
    EXPECT_EQ("m.csv, line 3, column 1: this cell has a line end or another control character in it",
              mistake("name,area,address\nA,4x,1\n\"B\nC\",4x,2\n"));
    EXPECT_EQ("m.csv, line 2, column 3: this cell has a line end or another control character in it",
              mistake("name,unit,area,address\nA,\xC2\x9B"
                      "1m,4x,2\n"));
    EXPECT_EQ(
        "m.csv, line 2, column 3: this character is not UTF-8; let the spreadsheet store the table as UTF-8",
        mistake("name,area,address\nDr\xFC"
                "ck,4x,1\n"));
}

TEST(RegisterMap, OfAProjectReadsAsTheSameVariables)
{
    const std::string map = "name,area,address,station,count,rate\n"
                            "Speed,4x,100,5,8,2\n"
                            "Door open,4x_bit,35.10,2,1,0\n";
    EXPECT_EQ(map, registerMapText(mapped(map)));
    EXPECT_EQ(projectText(mapped(map)),
              projectText(parseProject("p.json", QByteArray::fromStdString(projectText(mapped(map))))));
}

TEST(RegisterMap, HasFormatsAndMeaningsWhereTheyAreUsed)
{
    const std::string map =
        "name,area,address,station,count,rate,format,scale,offset,unit,min,max,texts,description\n"
        "Feed,4x,100,5,2,0,i32.cdab,0.1,-40,mm/s,-5,12.5,,\"of the axis, \"\"X\"\"\"\n"
        "Mode,4x,104,5,1,0,,,,,,,2=running|0=stopped,\n"
        "Plain,4x,105,5,1,0,,,,,,,,\n";
    const Project project = mapped(map);
    EXPECT_EQ(map, registerMapText(project));
    EXPECT_EQ(projectText(project),
              projectText(parseProject("p.json", QByteArray::fromStdString(projectText(project)))));
    const Meaning &feed = *project.variables[0].meaning;
    EXPECT_EQ(0.1, feed.scale);
    EXPECT_EQ("of the axis, \"X\"", feed.description);
    EXPECT_EQ("running", project.variables[1].meaning->names.at(0).text) << "in the order of the cell";
    EXPECT_EQ("stopped", project.variables[1].meaning->names.at(1).text);
    EXPECT_EQ(nullptr, project.variables[2].meaning);
    const std::string few = "name,area,address,station,count,rate,unit\nA,4x,1,1,1,0,bar\n";
    EXPECT_EQ(few, registerMapText(mapped(few)));
}

TEST(RegisterMap, TellsMistakesInFormatsAndMeanings)
{
    EXPECT_THAT(mistake("name,area,address,format\nA,4x,1,f16\n"),
                HasSubstr("m.csv, line 2, column 8: 'f16' is no format"));
    EXPECT_EQ("m.csv, line 2, column 8: this must be a number, as 0.1",
              mistake("name;area;address;scale\nA;4x;1;0,1\n"));
    EXPECT_EQ("m.csv, line 2, column 8: this must be a number, as 0.1",
              mistake("name,area,address,min\nA,4x,1,inf\n"));
    EXPECT_EQ("m.csv, line 2, column 8: texts are VALUE=TEXT with | between them, as 0=off|1=on",
              mistake("name,area,address,texts\nA,4x,1,0=off|on\n"));
    EXPECT_EQ("m.csv, line 2, column 8: the value '0' has two texts",
              mistake("name,area,address,texts\nA,4x,1,0=off|0=on\n"));
    EXPECT_THAT(mistake("name,area,address,texts\nA,4x,1,0=off|70000=on\n"),
                HasSubstr("m.csv, line 2, column 14: value '70000' is not allowed; a register holds"));
}

} // namespace
