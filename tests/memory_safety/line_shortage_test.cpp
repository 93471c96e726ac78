// Memory runs out inside the public interface of a line: in every call each allocation fails in turn, alone
// and with all behind it. Afterwards there is memory again, and the line must work as if nothing had been.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "memory_safety/scarce_memory.h"
#include "runtime/api/small_line.h"

/// What a driver does while it is unloaded is not the line's: one that measures its coverage writes figures.
extern "C" int dlclose(void *handle) noexcept
{
    const plc::test::ScarceMemory::Plenty plenty;
    static const auto real = reinterpret_cast<int (*)(void *)>(dlsym(RTLD_NEXT, "dlclose"));
    return real(handle);
}

namespace plc::test {

namespace {

using namespace plcruntime;

/// In a real line a thread of its own runs the line: what the caller's thread lacks, that thread has.
class LinkOfItsOwn : public SmallLink
{
public:
    using SmallLink::SmallLink;
    void wait(Time until) override
    {
        const ScarceMemory::Plenty plenty;
        SmallLink::wait(until);
    }
};

/// A line with a screen, and all that was told of it.
class Panel
{
public:
    Panel()
    {
        LineSettings settings;
        settings.driverFile = QString::fromLatin1(PLC_DRIVER_PATH);
        settings.delivery = Delivery::Poll;
        settings.timeoutMs = 50;
        settings.retries = 0;
        settings.firstProbeMs = 100;
        settings.longestProbeMs = 100;
        settings.maxBlock = 4;
        LineGround ground = groundOf(world);
        ground.makeLink = [this](runtime::DriverLibrary &driver, COM_INFO &info,
                                 const runtime::LinkSettings &link) {
            return std::make_unique<LinkOfItsOwn>(world, driver, info, link);
        };
        line.reset(LineAccess::make(settings, ground));
        line->setEventHandler(&Panel::take, this, EventsAll);
        for (const char *place : {"4x:10@1", "4x:20:2/u32@1", "4x:10@2"})
            ids.push_back(line->addVariable(place));
        for (int i = 0; i < 3; ++i)
            world.registers[{i == 2 ? 2 : 1, 10 * (i % 2 + 1)}] = 100 + i;
        small.append(ids[1]);
        for (const VariableId id : ids)
            large.append(id);
        line->showScreen(large);
        more.name = QLatin1String("nobody");
    }

    void open()
    {
        line->open();
        pass(300);
    }
    void pass(int milliseconds)
    {
        for (const runtime::Time until = world.now + std::chrono::milliseconds(milliseconds);
             world.now < until;)
            line->poll(10);
    }

    void write(int variable, int value, int deadlineMs = -1)
    {
        const QList<Value> values = listOf(1, value);
        note(line->write(ids.at(static_cast<std::size_t>(variable)), values, deadlineMs));
    }
    void writeAll(int variable, int count)
    {
        const QList<Value> values = listOf(count, 7);
        note(line->write(ids.at(static_cast<std::size_t>(variable)), values));
    }
    void readOnce(int variable, int deadlineMs = -1)
    {
        note(line->readOnce(ids.at(static_cast<std::size_t>(variable)), deadlineMs));
    }

    /// What is wrong with the line now that there is memory again; empty when nothing is.
    std::string complaint()
    {
        world.dead.clear();
        world.isPortThere = true;
        if (!line->isOpen() && line->open())
            return "it cannot be opened again";
        for (const int station : {1, 2})
            line->setStationEnabled(station, true);
        pass(600);
        if (std::string wrong = complaintOfOrders(); !wrong.empty())
            return wrong;
        if (line->showScreen(large))
            return "it shows no screen";
        world.registers[{1, 10}] = 4711;
        pass(300);
        if (told[ids[0]] != 4711)
            return "the handler has not heard of the value that is read";
        const OrderId order = line->write(ids[2], Value(815));
        if (line->wait(order, 1000).end != OrderEnd::Good || world.registers[{2, 10}] != 815)
            return "a write does not reach its station";
        orders.push_back(order);
        pass(300);
        for (const VariableId id : ids) {
            const VariableState state = line->value(id);
            if (state.quality != Quality::Good || state.pendingWrite || state.values.size() != countOf(id))
                return "a variable is not what it should be: " + state.reason.toStdString();
            if (told[id] != state.values.first().toInteger())
                return "the handler knows another value than the line";
        }
        line->close();
        if (line->isOpen())
            return "it cannot be closed";
        if (line->open())
            return "it cannot be opened once more";
        return complaintOfOrders();
    }

    SmallWorld world;
    std::vector<VariableId> ids;
    std::unique_ptr<Line> line;
    std::vector<OrderId> orders; ///< that were taken
    QList<VariableId> small;     ///< a screen
    QList<VariableId> large;     ///< another
    VariableSettings more = VariableSettings("4x:700/f32@1");

    static void take(void *context, const Event &event)
    {
        const ScarceMemory::Plenty plenty;
        Panel &self = *static_cast<Panel *>(context);
        if (event.order)
            ++self.ends[event.order->order];
        if (event.kind == EventValue && !event.variable->values.isEmpty())
            self.told[event.variable->id] = event.variable->values.first().toInteger();
    }

private:
    /// Its caller's, as everything that is handed to a line.
    static QList<Value> listOf(int count, int value)
    {
        const ScarceMemory::Plenty plenty;
        QList<Value> values;
        for (int i = 0; i < count; ++i)
            values.append(Value(value));
        return values;
    }
    void note(OrderId order)
    {
        const ScarceMemory::Plenty plenty;
        if (order != 0)
            orders.push_back(order);
    }
    int countOf(VariableId id) const { return id == ids[1] ? 2 : 1; }

    std::string complaintOfOrders()
    {
        for (const OrderId order : orders) {
            if (line->result(order).end == OrderEnd::Open)
                return "order " + std::to_string(order) + " does not end";
            if (ends[order] != 1)
                return "order " + std::to_string(order) + " is told " + std::to_string(ends[order]) +
                       " times";
        }
        return ends.size() == orders.size() ? "" : "an order is told that nobody has given";
    }

    std::map<OrderId, int> ends;
    std::map<VariableId, qint64> told;
};

/// What is done with short memory, and what before it.
struct Deed
{
    const char *name;
    std::function<void(Panel &)> prepare;
    std::function<void(Panel &)> call;
};

void PrintTo(const Deed &deed, std::ostream *out)
{
    *out << deed.name;
}

std::string nameOfDeed(const ::testing::TestParamInfo<Deed> &deed)
{
    return deed.param.name;
}

void leaveClosed(Panel &) {}

void open(Panel &panel)
{
    panel.open();
}

/// Orders that wait, one with a deadline, and a second to the same place.
void order(Panel &panel)
{
    panel.open();
    panel.write(0, 1);
    panel.write(0, 2, 20);
    panel.readOnce(1);
    panel.readOnce(2, 30);
}

std::vector<Deed> life()
{
    return {
        {"Open", leaveClosed, [](Panel &panel) { panel.line->open(); }},
        {"OpenAgain",
         [](Panel &panel) {
             panel.open();
             panel.line->setStationEnabled(2, false);
             panel.line->close();
         },
         [](Panel &panel) { panel.line->open(); }},
        {"Close", open, [](Panel &panel) { panel.line->close(); }},
        {"CloseWithOrders", order, [](Panel &panel) { panel.line->close(); }},
        {"SetEventHandler", order,
         [](Panel &panel) { panel.line->setEventHandler(&Panel::take, &panel, EventsOfPanel); }},
    };
}

std::vector<Deed> variables()
{
    return {
        {"AddVariable", open,
         [](Panel &panel) {
             Error error;
             const VariableId id = panel.line->addVariable(panel.more, &error);
             EXPECT_EQ(id == 0 ? ErrorKind::Full : ErrorKind::None, error.kind);
         }},
        {"ShowScreen", open,
         [](Panel &panel) {
             panel.line->showScreen(panel.small);
             panel.line->poll(20);
         }},
        {"ShowLargerScreen",
         [](Panel &panel) {
             panel.line->showScreen(panel.small);
             panel.open();
         },
         [](Panel &panel) {
             panel.line->showScreen(panel.large);
             panel.line->poll(20);
             panel.line->value(panel.ids[2]);
         }},
        {"RemoveVariable",
         [](Panel &panel) {
             const VariableId more = panel.line->addVariable("4x:500@1");
             panel.line->showScreen(QList<VariableId>(panel.large) << more);
             panel.open();
         },
         [](Panel &panel) { panel.line->removeVariable(panel.ids.back() + 1); }},
        {"Look", order,
         [](Panel &panel) {
             panel.line->value(panel.ids[1]);
             panel.line->findVariable(panel.more.name);
             panel.line->variables();
             panel.line->variableSettings(panel.ids[0]);
             panel.line->screen();
             panel.line->result(1);
             panel.line->statistics();
             panel.line->stationState(1);
             panel.line->portState();
             panel.line->nowUs();
         }},
    };
}

std::vector<Deed> orders()
{
    return {
        {"Write", open, [](Panel &panel) { panel.write(0, 5); }},
        {"WriteWithADeadline", order, [](Panel &panel) { panel.write(0, 5, 1000); }},
        {"WriteToADeadStation",
         [](Panel &panel) {
             panel.world.dead = {2};
             panel.open();
             panel.pass(500);
         },
         [](Panel &panel) { panel.write(2, 5); }},
        {"WriteInPieces",
         [](Panel &panel) {
             panel.ids.push_back(panel.line->addVariable("4x:100:6/u32@1"));
             panel.open();
         },
         [](Panel &panel) {
             panel.writeAll(3, 6);
             panel.ids.pop_back();
         }},
        {"ReadOnce", order, [](Panel &panel) { panel.readOnce(1, 1000); }},
        {"ReadInPieces",
         [](Panel &panel) {
             panel.ids.push_back(panel.line->addVariable("4x:100:6/u32@1"));
             panel.open();
         },
         [](Panel &panel) {
             panel.readOnce(3);
             panel.ids.pop_back();
         }},
        {"Wait", order, [](Panel &panel) { panel.line->wait(panel.orders[0], 100); }},
    };
}

std::vector<Deed> news()
{
    const auto poll = [](Panel &panel) {
        for (int i = 0; i < 10; ++i)
            panel.line->poll(20);
    };
    return {
        {"Poll", order, poll},
        {"PollWithValuesThatChange",
         [](Panel &panel) {
             panel.open();
             panel.world.registers[{1, 10}] = 4711;
             panel.world.registers[{1, 20}] = 7;
         },
         poll},
        {"PollWithAStationThatDies",
         [](Panel &panel) {
             panel.open();
             panel.world.dead = {1};
             panel.write(0, 1);
             panel.write(0, 2);
             panel.write(1, 3);
             panel.readOnce(0);
         },
         poll},
        {"PollWithAPortThatGoes",
         [](Panel &panel) {
             order(panel);
             panel.world.isPortThere = false;
         },
         poll},
        {"SwitchAStationOff", order, [](Panel &panel) { panel.line->setStationEnabled(1, false); }},
        {"SwitchAStationOn",
         [](Panel &panel) {
             panel.open();
             panel.line->setStationEnabled(1, false);
         },
         [](Panel &panel) { panel.line->setStationEnabled(1, true); }},
    };
}

std::vector<Deed> allDeeds()
{
    std::vector<Deed> all;
    for (const std::vector<Deed> &some : {life(), variables(), orders(), news()})
        all.insert(all.end(), some.begin(), some.end());
    return all;
}

class ShortMemoryOfALine : public ::testing::TestWithParam<Deed>
{
protected:
    static void failEach(Shortage shortage)
    {
        constexpr int kMost = 20000;
        int first = 0;
        for (bool ranOut = true; ranOut && first < kMost;) {
            ++first;
            SCOPED_TRACE(first);
            Panel panel;
            GetParam().prepare(panel);
            {
                ScarceMemory memory(first, shortage);
                memory.during([&panel] { GetParam().call(panel); });
                ranOut = ScarceMemory::ranOut();
            }
            ASSERT_EQ("", panel.complaint());
        }
        ASSERT_LT(first, kMost);
        RecordProperty("allocations", first - 1);
    }
};

} // namespace

TEST_P(ShortMemoryOfALine, ForAnyOneAllocationLeavesALineThatWorks)
{
    failEach(Shortage::Once);
}

TEST_P(ShortMemoryOfALine, FromAnyAllocationOnLeavesALineThatWorks)
{
    failEach(Shortage::FromThenOn);
}

INSTANTIATE_TEST_SUITE_P(Calls, ShortMemoryOfALine, ::testing::ValuesIn(allDeeds()), nameOfDeed);

} // namespace plc::test
