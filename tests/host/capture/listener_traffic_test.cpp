/// @file
/// A listener behind converters of all kinds, on a line where much goes wrong. Time is virtual.
#include "host/capture/listener.h"

#include <gtest/gtest.h>

#include <map>

#include "host/capture/bad_traffic.h"
#include "host/capture/heard_line.h"

namespace plc::host {

namespace {

constexpr int kExchanges = 1500;
constexpr int kBauds[] = {9600, 19200, 38400, 57600, 115200};
constexpr int kBatchMs[] = {1, 2, 4, 8, 16};

struct Found
{
    int clean = 0;  ///< frames that came as they were sent
    int found = 0;  ///< ... and were heard
    int turned = 0; ///< ... in the wrong direction, or in none
    int wrong = 0;  ///< heard, and never sent
};

/// As a command listens: bytes as they come, and a look whenever the listener wants it.
std::map<std::size_t, HeardFrame> listen(const std::vector<Batch> &batches, Listener *listener)
{
    std::map<std::size_t, HeardFrame> heard;
    std::size_t at = 0;
    const auto take = [&](const std::vector<HeardFrame> &frames) {
        for (const HeardFrame &frame : frames) {
            if (frame.isGood())
                heard[at] = frame;
            at += static_cast<std::size_t>(frame.bytes.size());
        }
    };
    for (const Batch &batch : batches) {
        if (listener->wakeAt() < batch.at)
            take(listener->take(QByteArray(), listener->wakeAt()));
        take(listener->take(batch.bytes, batch.at));
    }
    take(listener->finish());
    return heard;
}

Found compare(const Traffic &traffic, const std::map<std::size_t, HeardFrame> &heard)
{
    Found result;
    for (const LedgerFrame &sent : traffic.frames) {
        if (!sent.isClean)
            continue;
        ++result.clean;
        const auto same = heard.find(sent.at);
        if (same == heard.end() || same->second.bytes != sent.bytes)
            continue;
        ++result.found;
        result.turned +=
            same->second.role == (sent.isRequest ? FrameRole::Request : FrameRole::Reply) ? 0 : 1;
    }
    result.wrong = static_cast<int>(heard.size()) - result.found;
    return result;
}

/// All rates and batches with this seed. A CRC of 16 bits is good by chance now and then, and a frame that is
/// none may hide some: so the share is that of all lines, which have traffic of their own.
void expectHeard(unsigned seed)
{
    Found all;
    for (const int baud : kBauds) {
        const Traffic traffic = badTraffic(seed ^ static_cast<unsigned>(baud), baud, kExchanges);
        for (const int batch : kBatchMs) {
            Listener listener(baud, true);
            const Found line =
                compare(traffic, listen(batchesOf(traffic, std::chrono::milliseconds(batch)), &listener));
            EXPECT_LE(line.wrong, 3) << "false frames at " << baud << ", batches of " << batch << " ms, seed "
                                     << seed;
            all.clean += line.clean;
            all.found += line.found;
            all.turned += line.turned;
            all.wrong += line.wrong;
        }
    }
    std::printf("seed %u: %d of %d good frames heard, %d turned, %d false\n", seed, all.found, all.clean,
                all.turned, all.wrong);
    EXPECT_GE((all.found - all.turned) * 1000, all.clean * 999) << "seed " << seed;
}

class ListenerTraffic : public ::testing::TestWithParam<unsigned>
{};

TEST_P(ListenerTraffic, IsHeardBehindConvertersAtAllRates)
{
    expectHeard(GetParam());
}

INSTANTIATE_TEST_SUITE_P(FixedSeeds, ListenerTraffic, ::testing::Range(1u, 4u));

TEST(ListenerFreshTraffic, IsHeardBehindConvertersAtAllRates)
{
    expectHeard(freshSeed());
}

/// How long replies took is told by bytes that came together, long after they were on the line.
TEST(ListenerTimes, AreThoseOfTheWireWhateverTheBatches)
{
    const Traffic traffic = badTraffic(1, 9600, 300);
    const auto heardTimes = [&traffic](std::chrono::milliseconds period) {
        Listener listener(9600, true);
        std::vector<Time> ends;
        for (const auto &[at, frame] : listen(batchesOf(traffic, period), &listener))
            ends.push_back(frame.end);
        return ends;
    };
    const std::vector<Time> exact = heardTimes(std::chrono::milliseconds(0));
    const std::vector<Time> late = heardTimes(std::chrono::milliseconds(16));
    ASSERT_EQ(exact.size(), late.size());
    for (std::size_t i = 0; i < exact.size(); ++i) {
        EXPECT_GE(late[i], exact[i] - std::chrono::microseconds(10));
        EXPECT_LE(late[i] - exact[i], std::chrono::milliseconds(16));
    }
}

} // namespace

} // namespace plc::host
