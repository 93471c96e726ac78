#include "host/commands/live_screen.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "host/commands/interrupt.h"
#include "host/commands/output.h"
#include "host/commands/result_text.h"
#include "host/commands/standard_streams.h"

namespace plc::host {

namespace {

constexpr Time kDrawInterval = std::chrono::milliseconds(250);
constexpr char kOwnName[] = "plchost: ";

/// "19200 8E1".
std::string rateText(const LinkSettings &link)
{
    const char parity = link.parity == Parity::Even ? 'E' : link.parity == Parity::Odd ? 'O' : 'N';
    return std::to_string(link.baud) + " 8" + parity + std::to_string(link.effectiveStopBits());
}

Health healthOf(Quality quality)
{
    switch (quality) {
    case Quality::Good:
        return Health::Good;
    case Quality::Stale:
        return Health::Doubtful;
    case Quality::NeverRead:
    case Quality::SwitchedOff:
        return Health::Absent;
    case Quality::Refused:
    case Quality::NoAnswer:
    case Quality::BadReply:
    case Quality::Offline:
    case Quality::PortLost:
        break;
    }
    return Health::Bad;
}

/// "01:59:59.123  0.001234 -> 01 03": the day and the zone would take half of a narrow screen.
std::string shortTraceLine(const std::string &line)
{
    const std::size_t date = line.find('T');
    const std::size_t timeEnd = line.find(' ');
    const std::size_t rest = line.find_first_not_of(' ', timeEnd);
    constexpr std::size_t kWithMilliseconds = 12;
    if (date > timeEnd || rest == std::string::npos)
        return line;
    return line.substr(date + 1, kWithMilliseconds) + "  " + line.substr(rest);
}

void nameState(plcruntime::StationState state, StationFigures *figures)
{
    switch (state) {
    case plcruntime::StationState::On:
        figures->state = "on";
        break;
    case plcruntime::StationState::Offline:
        figures->state = "offline";
        figures->health = Health::Bad;
        break;
    case plcruntime::StationState::SwitchedOff:
        figures->state = "switched off";
        figures->health = Health::Absent;
        break;
    }
}

} // namespace

void KeptLines::add(const std::string &line)
{
    lines_.push_back(line);
    if (lines_.size() <= kMost)
        return;
    lines_.pop_front();
    ++dropped_;
}

std::string KeptLines::take()
{
    std::string text = dropped_ > 0 ? "... " + std::to_string(dropped_) + " earlier lines\n" : "";
    for (const std::string &line : lines_)
        text += line + "\n";
    lines_.clear();
    dropped_ = 0;
    return text;
}

bool LiveScreen::isWanted(const OutputOptions &options, bool plain)
{
    return !plain && !options.quiet && options.outputFormat() == Format::Text && Painter::isPossible();
}

LiveScreen::LiveScreen(const Content &content, PanelLine &line, const ScanMonitor &monitor)
    : content_(content), line_(line), monitor_(monitor),
      model_(*this, {content.command, content.link.port, rateText(content.link)}, content.style,
             content.takesOrders)
{}

LiveScreen::~LiveScreen()
{
    end();
}

void LiveScreen::begin()
{
    std::fflush(stderr);
    painter_ = std::make_unique<Painter>();
    beforeSecondInterrupt(Painter::restoreInHandler);
}

std::vector<std::string> LiveScreen::turn(Time until)
{
    if (isSpoilt_ || steadyNow() >= nextDraw_)
        draw();
    std::vector<std::string> orders;
    for (const Key &key : painter_->keys(std::max(std::min(until, nextDraw_) - steadyNow(), Time::zero()))) {
        isSpoilt_ = true;
        if (key.kind == Key::Kind::Redraw)
            painter_->forgetPicture();
        take(model_.press(key), &orders);
    }
    isOver_ = isOver_ || painter_->isGone();
    return orders;
}

void LiveScreen::draw()
{
    painter_->draw(model_.picture(painter_->width(), painter_->height()));
    isSpoilt_ = false;
    nextDraw_ = steadyNow() + kDrawInterval;
}

void LiveScreen::take(const Wish &wish, std::vector<std::string> *orders)
{
    switch (wish.kind) {
    case Wish::Kind::Quit:
        isOver_ = true;
        break;
    case Wish::Kind::Order:
        orders->push_back(wish.text);
        break;
    case Wish::Kind::Trace:
        line_.traceFrames();
        break;
    case Wish::Kind::Nothing:
        break;
    }
}

void LiveScreen::end()
{
    if (!painter_)
        return;
    const std::vector<std::string> values = model_.lastValues(painter_->width(), painter_->height());
    painter_.reset();
    beforeSecondInterrupt(nullptr);
    for (const std::string &line : values)
        print(line + "\n");
    print(reported_.take());
    std::fputs(told_.take().c_str(), stderr);
}

void LiveScreen::tell(const std::string &line)
{
    const bool isOwn = line.rfind(kOwnName, 0) == 0;
    model_.say(isOwn ? line.substr(std::strlen(kOwnName)) : line);
    isSpoilt_ = true;
    if (painter_ && isatty(STDERR_FILENO) != 0)
        told_.add(line);
    else
        std::fprintf(stderr, "%s\n", line.c_str());
}

void LiveScreen::report(const std::string &line)
{
    model_.say(line);
    isSpoilt_ = true;
    if (painter_)
        reported_.add(line);
    else
        print(line + "\n");
}

void LiveScreen::showWriting(int number, const std::string &values)
{
    if (values.empty())
        writing_.erase(number);
    else
        writing_[number] = values;
    isSpoilt_ = true;
}

void LiveScreen::trace(const std::string &line)
{
    model_.trace(shortTraceLine(line));
    const bool isTerminal = isatty(STDERR_FILENO) != 0;
    // Who has asked for the trace and sends it to a file gets it there; on the screen alone it is for the
    // eye.
    if (content_.traces && (!painter_ || !isTerminal))
        std::fprintf(stderr, "%s\n", line.c_str());
}

const Variable &LiveScreen::variable(int number) const
{
    return content_.variables[static_cast<std::size_t>(number)];
}

int LiveScreen::station(int number) const
{
    return variable(number).station.value_or(content_.link.station);
}

Reading LiveScreen::reading(int number) const
{
    const VariableId id = content_.ids[static_cast<std::size_t>(number)];
    const VariableState state = line_.state(id);
    const Row row = line_.rowOf(id, variable(number), station(number), state);
    Reading reading;
    reading.values = row.values;
    reading.missing = row.missing;
    reading.age = row.age;
    reading.state = fullState(row);
    reading.health = healthOf(state.quality);
    reading.isUnread = state.quality == Quality::NeverRead;
    const auto order = writing_.find(number);
    if (order != writing_.end())
        reading.state =
            "writing " + order->second + (state.quality == Quality::Good ? "" : ", " + reading.state);
    if (reading.health == Health::Bad)
        reading.reason = describe(state, station(number));
    return reading;
}

LineFigures LiveScreen::figures() const
{
    const Statistics statistics = line_.statistics();
    LineFigures figures;
    figures.running = fromMicroseconds(statistics.runningUs);
    figures.counted = statistics.total;
    if (monitor_.scans().scans() > 0)
        figures.scan = monitor_.scans().last();
    figures.portLost = line_.portLost();
    for (const Counters &counted : statistics.stations) {
        StationFigures station;
        station.counted = counted;
        nameState(line_.stationState(counted.station), &station);
        const Histogram &times = replyTimes_.of(counted.station);
        station.median = times.percentile(50);
        station.percentile99 = times.percentile(99);
        station.longest = times.most();
        figures.stations.push_back(station);
    }
    return figures;
}

} // namespace plc::host
