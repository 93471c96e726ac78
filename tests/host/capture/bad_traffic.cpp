#include "host/capture/bad_traffic.h"

#include <cstdio>
#include <cstdlib>
#include <random>

#include "station/crc.h"
#include "station/station_bus.h"

namespace plc::host {

namespace {

using station::Area;
using station::Bytes;
using Nanoseconds = std::chrono::nanoseconds;

constexpr int kItems = 400;
const std::vector<int> kStations = {1, 3, 17, 247};

class Random
{
public:
    explicit Random(unsigned seed) : engine_(seed) {}

    /// 0 to @p limit - 1.
    int below(int limit) { return static_cast<int>(engine_() % static_cast<unsigned>(limit)); }
    int between(int least, int most) { return least + below(most - least + 1); }
    bool percent(int share) { return below(100) < share; }
    std::uint8_t byte() { return static_cast<std::uint8_t>(below(256)); }

private:
    std::mt19937 engine_;
};

QByteArray toQt(const Bytes &bytes)
{
    return QByteArray(reinterpret_cast<const char *>(bytes.data()), static_cast<int>(bytes.size()));
}

void fill(Random &random, station::StationBus *bus)
{
    for (const int number : kStations) {
        for (const Area area :
             {Area::Coils, Area::DiscreteInputs, Area::InputRegisters, Area::HoldingRegisters}) {
            std::vector<std::uint16_t> values;
            for (int i = 0; i < kItems; ++i)
                values.push_back(
                    static_cast<std::uint16_t>(random.below(station::isBitArea(area) ? 2 : 65536)));
            bus->station(number)->registers().write(area, 0, values);
        }
    }
}

Bytes requestOf(Random &random)
{
    static const int kFunctions[] = {1, 2, 3, 3, 3, 4, 4, 5, 6, 15, 16, 22};
    Bytes frame;
    frame.push_back(static_cast<std::uint8_t>(kStations[static_cast<std::size_t>(random.below(4))]));
    const int function = kFunctions[random.below(12)];
    frame.push_back(static_cast<std::uint8_t>(function));
    station::putBe16(
        &frame, static_cast<std::uint16_t>(random.percent(10) ? random.below(60000) : random.below(200)));
    if (function <= 4) {
        station::putBe16(&frame, static_cast<std::uint16_t>(random.between(1, 120)));
    } else if (function == 5) {
        station::putBe16(&frame, random.percent(50) ? 0xFF00 : 0);
    } else if (function == 6) {
        station::putBe16(&frame, static_cast<std::uint16_t>(random.below(65536)));
    } else if (function == 22) {
        for (int i = 0; i < 4; ++i)
            frame.push_back(random.byte());
    } else {
        const int quantity = random.between(1, 100);
        const int count = function == 15 ? (quantity + 7) / 8 : 2 * quantity;
        station::putBe16(&frame, static_cast<std::uint16_t>(quantity));
        frame.push_back(static_cast<std::uint8_t>(count));
        for (int i = 0; i < count; ++i)
            frame.push_back(random.byte());
    }
    station::appendCrc(&frame, station::CrcOrder::LowFirst);
    return frame;
}

/// Bytes on a wire, with the time of each.
class Wire
{
public:
    Wire(Traffic *traffic, int baud) : traffic_(traffic), character_(11000000000LL / baud) {}

    void pause(int microseconds) { now_ += std::chrono::microseconds(microseconds); }
    void put(const QByteArray &bytes)
    {
        traffic_->bytes += bytes;
        for (int i = 0; i < bytes.size(); ++i)
            traffic_->ends.push_back(now_ += character_);
    }
    /// @param damage  a byte of it comes as another one.
    void putFrame(const QByteArray &bytes, bool isRequest, bool damage, Random &random)
    {
        LedgerFrame frame;
        frame.at = static_cast<std::size_t>(traffic_->bytes.size());
        frame.bytes = bytes;
        frame.isRequest = isRequest;
        frame.isClean = !damage;
        QByteArray come = bytes;
        if (damage) {
            const int place = random.below(come.size());
            come[place] = static_cast<char>(come.at(place) ^ random.between(1, 255));
        }
        put(come);
        frame.end = now_;
        traffic_->frames.push_back(frame);
    }

private:
    Traffic *traffic_;
    Nanoseconds character_;
    Nanoseconds now_{0};
};

} // namespace

Traffic badTraffic(unsigned seed, int baud, int exchanges)
{
    Random random(seed);
    station::StationBus bus(kStations, kItems);
    fill(random, &bus);
    Traffic traffic;
    Wire wire(&traffic, baud);
    for (int i = 0; i < exchanges; ++i) {
        if (random.percent(2)) {
            QByteArray noise;
            for (int count = random.between(1, 20); count > 0; --count)
                noise += static_cast<char>(random.byte());
            wire.put(noise);
        }
        wire.pause(random.between(4200, 30000));
        const Bytes request = requestOf(random);
        const bool isDamaged = random.percent(2);
        wire.putFrame(toQt(request), true, isDamaged, random);
        const Bytes reply = isDamaged ? Bytes() : bus.answer(request).reply;
        if (reply.empty() || random.percent(3)) {
            wire.pause(300000);
            continue;
        }
        wire.pause(random.between(2000, 20000));
        wire.putFrame(toQt(reply), false, random.percent(2), random);
    }
    return traffic;
}

std::vector<Batch> batchesOf(const Traffic &traffic, Nanoseconds period)
{
    std::vector<Batch> batches;
    for (std::size_t i = 0; i < traffic.ends.size(); ++i) {
        const Nanoseconds end = traffic.ends[i];
        const Nanoseconds at = period > Nanoseconds::zero() ? (end / period + 1) * period : end;
        if (batches.empty() || batches.back().at != at)
            batches.push_back({QByteArray(), at});
        batches.back().bytes += traffic.bytes.at(static_cast<int>(i));
    }
    return batches;
}

unsigned freshSeed()
{
    const char *const given = std::getenv("PLC_SEED");
    const unsigned seed =
        given ? static_cast<unsigned>(std::strtoul(given, nullptr, 10)) : std::random_device()();
    std::printf("seed %u; PLC_SEED=%u repeats the run\n", seed, seed);
    return seed;
}

} // namespace plc::host
