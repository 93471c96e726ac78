// A line in virtual time with stations that answer, or do not; for lines over a ground of their own.
#ifndef PLC_TESTS_SMALL_LINE_H
#define PLC_TESTS_SMALL_LINE_H

#include <algorithm>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "runtime/api/line_access.h"
#include "runtime/line/failure.h"
#include "runtime/line/reply_search.h"
#include "runtime/master/direct_link.h"

namespace plc::test {

/// The stations and the clock, which outlive each link.
struct SmallWorld
{
    runtime::Time now = std::chrono::seconds(1000);
    runtime::Time tick{};                         ///< that each look at the clock takes
    std::map<std::pair<int, int>, int> registers; ///< holding registers by station and address
    std::set<int> dead;                           ///< stations that do not answer
    std::set<int> refusing;                       ///< stations that answer with exception 2
    std::vector<QByteArray> frames;               ///< that were sent
    bool isPortThere = true;

    int written(int station) const
    {
        return static_cast<int>(
            std::count_if(frames.begin(), frames.end(), [station](const QByteArray &frame) {
                return frame.at(0) == static_cast<char>(station) && (frame.at(1) == 6 || frame.at(1) == 16);
            }));
    }
};

class SmallLink : public runtime::DirectLink
{
public:
    using Time = runtime::Time;

    SmallLink(SmallWorld &world, runtime::DriverLibrary &driver, COM_INFO &info,
              const runtime::LinkSettings &settings)
        : DirectLink(driver, info, settings), world_(world)
    {}

    void start(const std::map<int, int> &reads, bool trace) override
    {
        if (!world_.isPortThere)
            throw runtime::PortAbsent("there is no such port");
        link_.begin(world_.now, reads, trace);
        isRunning_ = true;
        wakeAt_ = world_.now;
    }
    void stop() override { isRunning_ = false; }
    Time now() const override { return world_.now += world_.tick; }
    void wait(Time until) override
    {
        while (isRunning_ && news_.empty() && world_.now < until && !std::exchange(isWoken_, false))
            step(until);
    }
    void wake() override { isWoken_ = true; }

private:
    void step(Time until)
    {
        if (world_.isPortThere == isLost_) {
            isLost_ = !isLost_;
            reply_.clear();
            if (isLost_)
                link_.portLost(world_.now, "the port is gone.");
            else
                link_.portFound(world_.now);
            wakeAt_ = world_.now;
        }
        const Time next = reply_.isEmpty() ? wakeAt_ : std::min(wakeAt_, replyAt_);
        // A port that is gone wants nothing: the time goes on all the same.
        world_.now = std::max(world_.now, std::min(next, until));
        QByteArray arrived;
        if (!reply_.isEmpty() && world_.now >= replyAt_)
            arrived = std::exchange(reply_, QByteArray());
        if (arrived.isEmpty() && world_.now < wakeAt_)
            return;
        const runtime::Instruction todo = link_.advance(world_.now, arrived);
        wakeAt_ = todo.wakeAt;
        if (todo.send.isEmpty())
            return;
        world_.frames.push_back(todo.send);
        reply_ = answerTo(todo.send);
        replyAt_ = world_.now + std::chrono::milliseconds(10);
    }

    static int wordAt(const QByteArray &bytes, int at)
    {
        return static_cast<unsigned char>(bytes.at(at)) * 256 + static_cast<unsigned char>(bytes.at(at + 1));
    }
    static void putWord(QByteArray *bytes, int word)
    {
        bytes->append(static_cast<char>(word >> 8));
        bytes->append(static_cast<char>(word & 0xFF));
    }

    QByteArray answerTo(const QByteArray &request)
    {
        const int station = static_cast<unsigned char>(request.at(0));
        const int function = request.at(1);
        if (world_.dead.count(station) > 0 || station == 0)
            return QByteArray();
        QByteArray reply = request.left(2);
        const int first = wordAt(request, 2);
        if (world_.refusing.count(station) > 0) {
            reply[1] = static_cast<char>(function | 0x80);
            reply.append('\x02');
        } else if (function == 3) {
            const int count = wordAt(request, 4);
            reply.append(static_cast<char>(2 * count));
            for (int i = 0; i < count; ++i)
                putWord(&reply, world_.registers[{station, first + i}]);
        } else {
            if (function == 6)
                world_.registers[{station, first}] = wordAt(request, 4);
            for (int i = 0; function == 16 && i < wordAt(request, 4); ++i)
                world_.registers[{station, first + i}] = wordAt(request, 7 + 2 * i);
            reply = request.left(6);
        }
        const std::uint16_t crc = runtime::crcOf(reply.constData(), reply.size());
        reply.append(static_cast<char>(crc & 0xFF));
        reply.append(static_cast<char>(crc >> 8));
        return reply;
    }

    SmallWorld &world_;
    bool isRunning_ = false;
    bool isWoken_ = false;
    bool isLost_ = false;
    Time wakeAt_{};
    QByteArray reply_;
    Time replyAt_{};
};

inline plcruntime::LineGround groundOf(SmallWorld &world)
{
    plcruntime::LineGround ground;
    ground.makeLink = [&world](runtime::DriverLibrary &driver, COM_INFO &info,
                               const runtime::LinkSettings &settings) {
        return std::make_unique<SmallLink>(world, driver, info, settings);
    };
    ground.clock = [&world] { return world.now; };
    return ground;
}

} // namespace plc::test

#endif
