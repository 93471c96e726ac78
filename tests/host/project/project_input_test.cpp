#include "host/project/project_input.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <memory>

#include "host/commands/input_lines.h"
#include "runtime/line/failure.h"

namespace {

using namespace plc::host;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Kind = ProjectOrder::Kind;

class ProjectInputTest : public ::testing::Test
{
protected:
    static Variable named(const char *text, const char *label)
    {
        Variable variable = parseVariable(text, false);
        variable.label = label;
        return variable;
    }

    std::string mistake(const std::string &line) const
    {
        try {
            input.parse(line);
        } catch (const Failure &failure) {
            return failure.what();
        }
        return "no mistake";
    }

    const std::vector<Variable> variables{named("4x:10@1", "Filler.Jog speed"),
                                          named("4x:20:3@1", "Recipe"),
                                          named("0x:5@1", "Horn"),
                                          named("3x:1@1", "Level"),
                                          named("4x:40/str6@1", "Order"),
                                          named("4x:50:2/f32@1", "Flow")};
    const ProjectInput input{variables};
};

TEST_F(ProjectInputTest, UnderstandsWrites)
{
    const ProjectOrder speed = input.parse("  Filler.Jog speed =  -2 ");
    EXPECT_EQ(Kind::Write, speed.kind);
    EXPECT_EQ(0, speed.variable);
    EXPECT_THAT(speed.values, ElementsAre(65534u));
    const ProjectOrder recipe = input.parse("Recipe=1, 0x10 ,3");
    EXPECT_EQ(1, recipe.variable);
    EXPECT_THAT(recipe.values, ElementsAre(1u, 16u, 3u));
    EXPECT_THAT(input.parse("Horn = on").values, ElementsAre(1u));
}

TEST_F(ProjectInputTest, MakesNoNumberOfTwo)
{
    EXPECT_THAT(mistake("Recipe = 1 2, 3, 4"), HasSubstr("value '1 2' is not allowed"));
}

TEST_F(ProjectInputTest, UnderstandsValuesInTheirFormat)
{
    EXPECT_THAT(input.parse("Flow = 12.5, -1").values, ElementsAre(0x4148u, 0u, 0xBF80u, 0u));
    EXPECT_THAT(input.parse(" Order =  A B ").values, ElementsAre(0x4120u, 0x4200u, 0u))
        << "a blank inside stays";
    EXPECT_THAT(input.parse("Order = \"A, B \"").values, ElementsAre(0x412Cu, 0x2042u, 0x2000u));
    EXPECT_THAT(mistake("Flow = 12.5"), HasSubstr("has 2 values, but 1 are given"));
    EXPECT_THAT(mistake("Order = 1234567"), HasSubstr("str6 holds up to 6 characters"));
}

TEST_F(ProjectInputTest, UnderstandsOrders)
{
    const ProjectOrder off = input.parse("station 5 off");
    EXPECT_EQ(Kind::Station, off.kind);
    EXPECT_EQ(5, off.station);
    EXPECT_FALSE(off.enabled);
    EXPECT_TRUE(input.parse("station 247 on").enabled);
    EXPECT_EQ(Kind::NextPage, input.parse("").kind);
    EXPECT_EQ(Kind::NextPage, input.parse("next").kind);
    EXPECT_EQ(Kind::Page, input.parse("page 3").kind);
    EXPECT_EQ(3, input.parse("page 3").page);
    EXPECT_EQ(Kind::Quit, input.parse("quit").kind);
    EXPECT_EQ(Kind::Nothing, input.parse("# Horn = 1").kind);
}

TEST_F(ProjectInputTest, SaysWhatIsWrongWithALine)
{
    EXPECT_THAT(mistake("Hron = 1"), HasSubstr("'Hron' is no variable of the project"));
    EXPECT_THAT(mistake("Level = 1"), HasSubstr("'Level' cannot be written"));
    EXPECT_THAT(mistake("Recipe = 1,2"), HasSubstr("has 3 values, but 2 are given"));
    EXPECT_THAT(mistake("Horn = 2"), HasSubstr("a bit is 0 or 1"));
    EXPECT_THAT(mistake("Horn ="), HasSubstr("a bit is 0 or 1"));
    EXPECT_THAT(mistake("station 0 off"), HasSubstr("not understood"));
    EXPECT_THAT(mistake("station 248 on"), HasSubstr("not understood"));
    EXPECT_THAT(mistake("station 5 maybe"), HasSubstr("not understood"));
    EXPECT_THAT(mistake("page 0"), HasSubstr("not understood"));
    EXPECT_THAT(mistake("help"), HasSubstr("lines are NAME = VALUE"));
}

class InputLinesTest : public ::testing::Test
{
protected:
    InputLinesTest()
    {
        EXPECT_EQ(0, pipe2(ends, O_CLOEXEC));
        lines = std::make_unique<InputLines>(ends[0]);
    }
    ~InputLinesTest() override
    {
        close(ends[0]);
        closeInput();
    }
    void feed(const std::string &text)
    {
        EXPECT_EQ(static_cast<ssize_t>(text.size()), write(ends[1], text.data(), text.size()));
    }
    void closeInput()
    {
        if (ends[1] >= 0)
            close(ends[1]);
        ends[1] = -1;
    }
    std::vector<std::string> take()
    {
        std::vector<std::string> texts;
        for (const InputLine &line : lines->take(std::chrono::milliseconds(1)))
            texts.push_back(line.text);
        return texts;
    }

    int ends[2] = {-1, -1};
    std::unique_ptr<InputLines> lines;
};

TEST_F(InputLinesTest, DoesNotWaitForLines)
{
    EXPECT_THAT(take(), IsEmpty());
    EXPECT_FALSE(lines->isOver());
}

TEST_F(InputLinesTest, HandsOutCompleteLines)
{
    feed("one\r\n\ntw");
    EXPECT_THAT(take(), ElementsAre("one", ""));
    feed("o\nthree");
    EXPECT_THAT(take(), ElementsAre("two"));
    closeInput();
    EXPECT_THAT(take(), ElementsAre("three"));
    EXPECT_TRUE(lines->isOver());
    EXPECT_THAT(take(), IsEmpty());
}

} // namespace
