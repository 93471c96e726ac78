/// @file
/// A port in virtual time, with stations of plcstation at its other end.
#ifndef PLC_TESTS_HOST_VIRTUAL_PORT_H
#define PLC_TESTS_HOST_VIRTUAL_PORT_H

#include <random>
#include <string>
#include <vector>

#include "host/finding/finder.h"
#include "runtime/line/port.h"
#include "runtime/line/rtu_layout.h"
#include "station/station_line.h"

namespace plc::test {

/// Everything waits in no time; the clock of the line is now().
class VirtualPort : public runtime::Port
{
public:
    VirtualPort(const station::LineSettings &settings, station::StationBus *bus,
                station::FaultPlan *faults = nullptr)
        : line_(settings, bus, faults)
    {}

    void send(const QByteArray &bytes) override
    {
        sent_.push_back(bytes);
        const auto *const from = reinterpret_cast<const std::uint8_t *>(bytes.constData());
        line_.receive(now_, station::ByteView(from, static_cast<std::size_t>(bytes.size())));
        if (hasEcho)
            echo_ += bytes;
    }

    QByteArray receive(runtime::Time until) override
    {
        if (!echo_.isEmpty())
            return std::exchange(echo_, QByteArray());
        for (;;) {
            const station::Bytes bytes = line_.advance(now_);
            if (!bytes.empty())
                return QByteArray(reinterpret_cast<const char *>(bytes.data()),
                                  static_cast<int>(bytes.size()));
            const auto next = line_.nextEvent();
            if (!next || *next > until) {
                now_ = std::max(now_, until);
                return QByteArray();
            }
            now_ = std::max(now_, *next);
        }
    }

    runtime::Time now() const { return now_; }
    const std::vector<QByteArray> &sent() const { return sent_; }
    /// True while no request has gone out that may change anything.
    bool hasOnlyRead() const
    {
        return std::all_of(sent_.begin(), sent_.end(),
                           [](const QByteArray &frame) { return runtime::changesNothing(frame); });
    }

    host::FindingGround ground()
    {
        host::FindingGround ground{*this};
        ground.now = [this] { return now_; };
        return ground;
    }

    bool hasEcho = false;

private:
    station::StationLine line_;
    runtime::Time now_ = std::chrono::seconds(1);
    std::vector<QByteArray> sent_;
    QByteArray echo_;
};

/// The settings of a master at @p baud.
inline host::AskingSettings askingAt(int baud, runtime::Time timeout = std::chrono::milliseconds(300))
{
    host::AskingSettings settings;
    settings.timing = runtime::LineTiming(baud);
    settings.character = settings.timing.character();
    settings.timeout = timeout;
    return settings;
}

/// A seed that no run had before, for cases that must hold with any.
inline std::uint64_t freshSeed()
{
    return (std::uint64_t{std::random_device()()} << 32) | std::random_device()();
}

} // namespace plc::test

#endif
