// Sequences of calls of the public interface of libplcruntime, in any order and with any arguments, on a
// simulated line with a bad day, from outside and from inside of the handler. Every order ends once, what is
// asked is answered as it was set, and nothing is told of what nobody knows.
#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <stdexcept>
#include <vector>

#include "fuzz/support/claim.h"
#include "fuzz/support/input.h"
#include "plcruntime/testing.h"

namespace plc::fuzz {

namespace {

using namespace plcruntime;

constexpr int kMostCalls = 48;
constexpr int kLastStation = 3;

class Program
{
public:
    explicit Program(Input *input) : input_(*input), bench_(settings()), line_(bench_.line())
    {
        for (int station = 1; station <= kLastStation; ++station)
            bench_.addStation(station);
        line_.setEventHandler(&Program::take, this, EventsAll);
        line_.open();
    }

    void play()
    {
        for (int i = 0; i < kMostCalls && !input_.isEmpty(); ++i) {
            callOne();
            claimWhatIsKnown();
        }
        line_.close();
        for (const auto &[order, ends] : ends_) {
            claim(ends == 1, "every order ends exactly once");
            claim(line_.result(order).end != OrderEnd::Open, "no order is open when the line is closed");
        }
        line_.setEventHandler(nullptr, nullptr);
    }

private:
    LineSettings settings()
    {
        LineSettings settings;
        settings.driverFile = QString::fromUtf8(PLC_DRIVER_PATH);
        const int kind = input_.byte();
        settings.timeoutMs = 100;
        settings.retries = kind & 1;
        settings.maxBlock = (kind & 2) != 0 ? 100 : 1 + (kind >> 4);
        settings.echo = (kind & 4) != 0;
        settings.reopen = (kind & 8) == 0;
        return settings;
    }

    void callOne()
    {
        switch (input_.below(16)) {
        case 0:
        case 1:
            return addVariable();
        case 2:
        case 3:
            return showScreen();
        case 4:
        case 5:
            return write();
        case 6:
            return note(line_.readOnce(anyVariable(), deadline()));
        case 7:
            return removeVariable();
        case 8:
            return switchStation();
        case 9:
            return makeTrouble();
        case 10:
            return openOrClose();
        case 11:
            line_.wait(anyOrder(), input_.byte() * 10);
            return;
        case 12:
            inHandler_ = input_.below(8);
            return;
        case 13:
            line_.wake();
            return;
        default:
            bench_.advance(input_.byte() * 8);
        }
    }

    VariableSettings place()
    {
        static const char *const kAreas[] = {"0x",     "1x",   "3x",   "4x",        "3x_bit",
                                             "4x_bit", "3x_d", "4x_d", "4x_single", "4x_block"};
        static const char *const kFormats[] = {"", "/i16", "/f32", "/u64.cdab", "/str9", "/bcd", "/hex"};
        VariableSettings settings;
        if (input_.below(8) == 7) {
            settings.place = QString::fromLatin1(input_.bytes(16).c_str());
            return settings;
        }
        const int area = input_.below(10);
        settings.place =
            QString::fromLatin1(kAreas[area]) + QLatin1Char(':') + QString::number(input_.number());
        if (area == 4 || area == 5)
            settings.place += QLatin1Char('.') + QString::number(input_.below(18));
        const int count = input_.below(4);
        if (count > 1)
            settings.place += QLatin1Char(':') + QString::number(count);
        settings.place += QString::fromLatin1(kFormats[input_.below(7)]);
        settings.place += QLatin1Char('@') + QString::number(input_.below(kLastStation + 2));
        settings.scale = input_.below(8) == 7 ? input_.number() : 1;
        settings.priority = input_.below(8) == 7 ? input_.number() : 0;
        return settings;
    }

    void addVariable()
    {
        const VariableSettings settings = place();
        Error error;
        const VariableId id = line_.addVariable(settings, &error);
        claim((id == 0) == static_cast<bool>(error), "a variable is refused with a reason, or added");
        claim(!error || !error.text.isEmpty(), "a refusal has a text");
        claim(std::find(variables_.begin(), variables_.end(), id) == variables_.end(), "no id comes twice");
        if (id != 0)
            variables_.push_back(id);
    }

    VariableId anyVariable()
    {
        const int number = input_.byte();
        if (variables_.empty() || number >= 250)
            return number;
        return variables_[static_cast<std::size_t>(number) % variables_.size()];
    }

    OrderId anyOrder()
    {
        const int number = input_.byte();
        if (ends_.empty())
            return number;
        return std::next(ends_.begin(), number % static_cast<int>(ends_.size()))->first;
    }

    int deadline()
    {
        const int kind = input_.byte();
        return kind < 192 ? -1 : (kind - 192) * 10;
    }

    void showScreen()
    {
        QList<VariableId> screen;
        for (int i = input_.below(8); i > 0; --i)
            screen.append(anyVariable());
        const QList<VariableId> before = line_.screen();
        const Error error = line_.showScreen(screen);
        if (error)
            claim(line_.screen() == before, "a screen that is refused changes nothing");
        for (const VariableId id : screen)
            claim(error || line_.value(id).onScreen, "what is shown is on the screen");
    }

    void write()
    {
        const VariableId id = anyVariable();
        QList<Value> values;
        for (int i = input_.below(4); i > 0; --i)
            values.append(anyValue());
        Error error;
        const OrderId order = line_.write(id, values, deadline(), &error);
        claim((order == 0) == static_cast<bool>(error), "a write is refused with a reason, or taken");
        note(order);
    }

    Value anyValue()
    {
        switch (input_.below(4)) {
        case 0:
            return Value(input_.number() / 3.0);
        case 1:
            return Value(QString::fromLatin1(input_.bytes(12).c_str()));
        default:
            return Value(input_.number());
        }
    }

    void note(OrderId order)
    {
        if (order == 0)
            return;
        ends_[order]; // its end may have come already
        claim(line_.result(order).order == order, "an order is known from the start");
    }

    void removeVariable()
    {
        const VariableId id = anyVariable();
        const auto found = std::find(variables_.begin(), variables_.end(), id);
        const Error error = line_.removeVariable(id);
        claim(static_cast<bool>(error) == (found == variables_.end()),
              "a variable that is there can be removed");
        if (found == variables_.end())
            return;
        variables_.erase(found);
        claim(line_.value(id).id == 0, "of a variable that is gone nothing is known");
        claim(!line_.screen().contains(id), "a variable that is gone is on no screen");
    }

    void switchStation()
    {
        const int station = input_.below(8) == 7 ? input_.number() : input_.below(kLastStation + 1);
        const bool enabled = input_.flag();
        const Error error = line_.setStationEnabled(station, enabled);
        claim(static_cast<bool>(error) == (station < 1 || station > 247), "stations are 1 to 247");
        if (!error && !enabled)
            claim(line_.stationState(station) == StationState::SwitchedOff, "a station that is off says so");
    }

    void makeTrouble()
    {
        const int station = 1 + input_.below(kLastStation);
        const int argument = input_.byte();
        switch (input_.below(9)) {
        case 0:
            return bench_.setDead(station, (argument & 1) != 0);
        case 1:
            return bench_.once(station, static_cast<Mishap>(argument % 12));
        case 2:
            return bench_.setAnswerTime(station, argument * 2);
        case 3:
            return bench_.refuse(station, Table::HoldingRegisters, argument, 4, argument % 12);
        case 4:
            return bench_.pullPort();
        case 5:
            return bench_.plugPort();
        case 6:
            return bench_.makeNoise(argument);
        case 7:
            return bench_.cutLine((argument & 1) != 0);
        default:
            return bench_.setMishaps(argument);
        }
    }

    void openOrClose()
    {
        if (!line_.isOpen()) {
            bench_.plugPort();
            line_.open();
            return;
        }
        line_.close();
        claim(!line_.isOpen() && line_.portState() == PortState::Closed, "a line that is closed says so");
        for (const auto &[order, ends] : ends_)
            claim(ends == 1, "every order has ended when the line is closed");
    }

    void claimWhatIsKnown() const
    {
        claim(static_cast<std::size_t>(line_.variables().size()) == variables_.size(),
              "variables are those that were added");
        for (const VariableId id : variables_) {
            const VariableState state = line_.value(id);
            claim(state.id == id, "what was added is known");
            claim(state.values.isEmpty() == (state.ageMs < 0), "values have an age");
            claim(state.quality != Quality::Good || !state.values.isEmpty(), "what is good has a value");
            claim(state.quality == Quality::Good || !state.reason.isEmpty(), "what is not good has a reason");
        }
    }

    static void take(void *context, const Event &event) { static_cast<Program *>(context)->digest(event); }

    void digest(const Event &event)
    {
        claim(!isInside_, "the handler is never called inside itself");
        isInside_ = true;
        if (event.order) {
            ++ends_[event.order->order];
            claim(event.order->end != OrderEnd::Open, "what is told has ended");
            claim(event.order->end == OrderEnd::Good || !event.order->reason.isEmpty(),
                  "a failure has a reason");
        }
        const int deed = inHandler_;
        inHandler_ = 0;
        if (deed == 1)
            line_.poll(10);
        if (deed == 2)
            line_.close();
        if (deed == 3 && !variables_.empty())
            note(line_.readOnce(variables_.front()));
        if (deed == 4 && !variables_.empty())
            line_.showScreen(QList<VariableId>() << variables_.front());
        if (deed == 5)
            line_.setStationEnabled(1, false);
        isInside_ = false;
        if (deed == 6)
            throw std::runtime_error("thrown by a handler");
    }

    Input &input_;
    SimulatedLine bench_;
    Line &line_;
    std::vector<VariableId> variables_;
    std::map<OrderId, int> ends_; ///< how often each order has ended
    int inHandler_ = 0;           ///< what the handler does next
    bool isInside_ = false;
};

} // namespace

} // namespace plc::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    plc::fuzz::Input input(data, size);
    plc::fuzz::Program(&input).play();
    return 0;
}
