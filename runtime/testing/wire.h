/// @file
/// Two wires on which every byte takes its time.
#ifndef PLC_RUNTIME_TESTING_WIRE_H
#define PLC_RUNTIME_TESTING_WIRE_H

#include <cstdint>
#include <deque>
#include <vector>

#include "runtime/testing/bytes.h"
#include "runtime/testing/random.h"

namespace plc::simulation {

// Who drives the line. Stations have their own numbers, 1 to 247.
constexpr int kMaster = 0;
constexpr int kSecondMaster = 1000;
constexpr int kNoise = 1001;

struct WireByte
{
    Time start{};
    Time end{};
    std::uint8_t value = 0;
    int source = kNoise;
    bool isNoise = false; ///< not what any sender meant: made up, damaged, or garbled by a collision
};

/// What a sender sends in one go.
struct Message
{
    Bytes bytes;
    std::vector<bool> noise; ///< which of them are made up; empty = none
    int gapBefore = -1;      ///< index of a byte that is held back for `gap`
    Time gap{};
};

/// Keeps made-up bytes from forming a frame with a good CRC by chance. A CRC of 16 bits lets one damaged
/// frame in 65536 pass, and neither master nor station could tell it from a true one; what happens then is no
/// fault of theirs.
class ForgeGuard
{
public:
    /// Takes the next byte on the line and changes it, if it would complete a good CRC over bytes of which
    /// one is noise.
    void pass(WireByte *byte);
    /// Forgets what has passed.
    void reset();

private:
    /// CRC over all bytes from a start position on, as it stood one and two bytes ago.
    struct Start
    {
        std::uint16_t crc;
        std::uint16_t before;
        int length;
    };
    void follow(std::uint8_t value);
    bool completes(std::uint8_t value) const;

    std::vector<std::uint8_t> clean_; ///< passed before the first noise: followed only if noise comes
    std::vector<Start> starts_;
    std::size_t tainted_ = 0; ///< starts whose bytes have noise among them: the first so many
    bool noisy_ = false;
};

/// The line: bytes with their times, seen by everybody alike. Bytes of different senders that overlap garble
/// each other. No clock inside.
class Wire
{
public:
    /// @param baud  bits a second; a character has 11 bits.
    Wire(int baud, std::uint64_t noiseSeed);

    /// Time of @p bytes bytes back to back.
    Time duration(int bytes) const;
    /// 3.5 characters, above 19200 baud 1.75 ms.
    Time silence() const;

    /// Puts a message on the line, from @p at on.
    /// @pre   no byte that ended after @p at has been taken.
    /// @return when its last byte ends.
    Time send(int source, Time at, const Message &message);

    /// End of the byte that ends next; the greatest time when the line is idle.
    Time nextEnd() const { return pending_.empty() ? Time::max() : pending_.front().end; }
    /// Takes that byte. @pre there is one.
    WireByte take();
    /// True while a byte of anybody is under way.
    bool isBusy() const { return !pending_.empty(); }
    /// End of the last byte that was taken.
    Time lastEnd() const { return lastEnd_; }
    /// Bytes that collided.
    std::uint64_t collisions() const { return collisions_; }
    /// A number that two runs share only if the same bytes were on the line at the same times.
    std::uint64_t digest() const { return digest_; }

private:
    void garble(WireByte *byte);

    int baud_;
    Random noise_;
    std::deque<WireByte> pending_; ///< by their ends
    ForgeGuard guard_;
    Time lastEnd_;
    std::uint64_t collisions_ = 0;
    std::uint64_t digest_ = 0xCBF29CE484222325u;
};

} // namespace plc::simulation

#endif
