// A polled line over a small world, and what its handler has heard.
#ifndef PLC_TESTS_LINE_FIXTURE_H
#define PLC_TESTS_LINE_FIXTURE_H

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "small_line.h"

namespace plc::test {

class LineTest : public ::testing::Test
{
protected:
    using VariableId = plcruntime::VariableId;

    LineTest()
    {
        settings.delivery = plcruntime::Delivery::Poll;
        settings.driverFile = QString::fromLatin1(PLC_DRIVER_PATH);
        settings.timeoutMs = 100;
        settings.retries = 0;
    }

    plcruntime::Line &line()
    {
        if (!line_) {
            line_.reset(plcruntime::LineAccess::make(settings, groundOf(world)));
            line_->setEventHandler(&LineTest::take, this, wanted);
        }
        return *line_;
    }
    void open()
    {
        const plcruntime::Error error = line().open();
        ASSERT_FALSE(error) << error.text.toStdString();
    }
    /// So much virtual time.
    void run(int milliseconds)
    {
        const runtime::Time end = world.now + std::chrono::milliseconds(milliseconds);
        while (world.now < end && line().isOpen())
            line().poll(static_cast<int>((end - world.now).count() / 1000000) + 1);
    }
    VariableId add(const char *place)
    {
        plcruntime::Error error;
        const VariableId id = line().addVariable(plcruntime::VariableSettings(place), &error);
        EXPECT_EQ("", error.text.toStdString());
        return id;
    }
    VariableId shown(const char *place)
    {
        const VariableId id = add(place);
        QList<VariableId> screen = line().screen();
        screen.append(id);
        EXPECT_FALSE(line().showScreen(screen));
        return id;
    }
    plcruntime::VariableState value(VariableId id) { return line().value(id); }
    int number(VariableId id)
    {
        const plcruntime::VariableState state = value(id);
        return state.values.isEmpty() ? -1 : static_cast<int>(state.values.first().toInteger());
    }

    static void take(void *context, const plcruntime::Event &event)
    {
        auto &self = *static_cast<LineTest *>(context);
        std::string text;
        if (event.kind == plcruntime::EventValue)
            text = "value " + std::to_string(event.variable->id);
        if (event.kind == plcruntime::EventQuality)
            text = "quality " + std::to_string(event.variable->id) + " " +
                   std::to_string(static_cast<int>(event.variable->quality));
        if (event.order)
            text = "order " + std::to_string(event.order->order) + " " +
                   std::to_string(static_cast<int>(event.order->end));
        if (event.station)
            text = "station " + std::to_string(event.station->station) + " " +
                   std::to_string(static_cast<int>(event.station->state));
        if (event.port)
            text = "port " + std::to_string(static_cast<int>(event.port->state));
        if (event.frame)
            text = "frame " + event.frame->bytes.toHex().toStdString();
        if (event.log)
            text = "log " + event.log->text.toStdString();
        self.heard.push_back(text);
        if (self.then)
            self.then(event);
    }
    long timesHeard(const std::string &text) const { return std::count(heard.begin(), heard.end(), text); }

    SmallWorld world;
    plcruntime::LineSettings settings;
    int wanted = plcruntime::EventsOfPanel;
    std::vector<std::string> heard;
    std::function<void(const plcruntime::Event &)> then;

private:
    std::unique_ptr<plcruntime::Line> line_;
};

inline std::string ended(plcruntime::OrderId order, plcruntime::OrderEnd end)
{
    return "order " + std::to_string(order) + " " + std::to_string(static_cast<int>(end));
}

inline std::string became(plcruntime::VariableId id, plcruntime::Quality quality)
{
    return "quality " + std::to_string(id) + " " + std::to_string(static_cast<int>(quality));
}

} // namespace plc::test

#endif
