/// @file
/// Traffic of a bad line with its ledger, for tests of who listens. Replies and CRCs come from the simulated
/// stations, which share no code with what is tested.
#ifndef PLC_TESTS_BAD_TRAFFIC_H
#define PLC_TESTS_BAD_TRAFFIC_H

#include <QByteArray>

#include <chrono>
#include <cstdint>
#include <vector>

namespace plc::host {

/// A frame on the line, as it was sent.
struct LedgerFrame
{
    std::size_t at = 0; ///< bytes of the line before it
    QByteArray bytes;
    bool isRequest = false;
    bool isClean = true;             ///< came as it was sent
    std::chrono::nanoseconds end{0}; ///< of the last character
};

struct Traffic
{
    QByteArray bytes;
    std::vector<LedgerFrame> frames;
    std::vector<std::chrono::nanoseconds> ends; ///< of each byte
};

/// One master and four stations at @p baud. Of 100 replies 3 are lost, of 100 frames 2 have a damaged byte,
/// before 2 of 100 requests stands noise.
Traffic badTraffic(unsigned seed, int baud, int exchanges);

/// Bytes that a converter hands over together, and when.
struct Batch
{
    QByteArray bytes;
    std::chrono::nanoseconds at{0};
};

/// Bytes as a converter hands them over that looks every @p period; zero: each byte by itself.
std::vector<Batch> batchesOf(const Traffic &traffic, std::chrono::nanoseconds period);

/// That of the variable PLC_SEED, or a new one; printed, so that a run can be repeated.
unsigned freshSeed();

} // namespace plc::host

#endif
