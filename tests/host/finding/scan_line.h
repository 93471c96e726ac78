/// @file
/// A two-wire line in virtual time, with stations at settings of their own, for tests of the scan.
#ifndef PLC_TESTS_FINDING_SCAN_LINE_H
#define PLC_TESTS_FINDING_SCAN_LINE_H

#include <functional>
#include <map>
#include <set>
#include <vector>

#include "host/finding/scan.h"
#include "runtime/testing/random.h"

namespace plc::host {

using simulation::Random;

struct ScannedStation
{
    int address = 1;
    ScanSetting setting;
    Time delay = std::chrono::milliseconds(10); ///< from the end of the request to the reply
    Time jitter{};                              ///< at most so much more
    int exceptionCode = 0;                      ///< 0 = answers with a value
    int value = 0;
    bool isLive = false;     ///< the value changes with each reply
    int damagedPermille = 0; ///< replies of which a byte arrives wrong
};

struct LineManners
{
    bool hasEcho = false;
    Time echoDelay{};        ///< what the master hears of itself comes that late
    Time batch{};            ///< a converter hands bytes over at multiples of this time
    Time noiseEvery{};       ///< mean time between two bursts of 1 to 12 made-up bytes; 0 = none
    bool isBabbling = false; ///< made-up bytes without end
    /// A second master asks this station at its setting, over and over; 0 = there is none.
    int secondMasterAsks = 0;
    Time secondMasterEvery = std::chrono::milliseconds(100);
};

/// Bytes of different senders that overlap destroy each other. Whoever sends hears nothing meanwhile, unless
/// the line has an echo. Characters at another rate arrive as others or not at all, at another parity not at
/// all or damaged.
class ScanLine
{
public:
    ScanLine(std::vector<ScannedStation> stations, LineManners manners, std::uint64_t seed);

    /// Carries a scan out until it is over, or until @p giveUp.
    /// @return when it was over.
    Time run(Scan *scan, Time giveUp = std::chrono::hours(2));

    /// Called at each step with the time; true stops the scan.
    std::function<bool(Time)> stopWhen = nullptr;
    int requests() const { return requests_; }
    /// How many replies and requests of a station were lost, by its address, without a byte that the master
    /// could have heard of it: a reply that came only while the master sent, and the request that it
    /// destroyed.
    const std::map<int, int> &hiddenLosses() const { return hidden_; }

private:
    /// What a sender puts on the line in one go.
    struct Message
    {
        int sender = 0;
        QByteArray bytes;
        ScanSetting setting;
        int left = 0; ///< characters that have not ended
        bool isGarbled = false;
        bool isHeard = false;    ///< the master has noticed it
        std::set<int> destroyed; ///< messages that it has run into
    };
    struct Char
    {
        Time start{};
        Time end{};
        std::uint8_t value = 0;
        int message = 0;
        bool isGarbled = false;
    };

    void put(int sender, Time at, const QByteArray &bytes, const ScanSetting &setting);
    void end(const Char &one);
    void endMessage(const Message &message);
    void answer(const Message &request);
    void hear(const Char &one);
    bool isMasterSending(const Char &one) const;
    void deliver(Time at, std::uint8_t value);
    void makeNoise();
    void babble();
    void secondMasterSends();
    Time nextEvent() const;
    void runEvent();
    QByteArray takeDelivered();

    std::vector<ScannedStation> stations_;
    LineManners manners_;
    Random random_;
    ScanSetting setting_;             ///< the master's
    std::multimap<Time, Char> chars_; ///< by their ends
    std::map<int, Message> messages_;
    std::multimap<Time, std::function<void()>> agenda_;
    std::multimap<Time, char> delivered_;
    Time now_{};
    int lastMessage_ = 0;
    int requests_ = 0;
    std::map<int, int> hidden_;
};

} // namespace plc::host

#endif
