/// @file
/// What a station can do, found out by reads alone.
#ifndef PLC_FINDING_STATION_LIMITS_H
#define PLC_FINDING_STATION_LIMITS_H

#include <array>
#include <map>
#include <optional>

#include "host/finding/finder.h"
#include "runtime/line/histogram.h"

namespace plc::host {

/// Whether a station knows a function.
enum class Knowledge
{
    NotAsked,
    Known,   ///< it was answered as it should be
    Refuses, ///< it is known, and this request was refused: another exception than 01
    Unknown, ///< exception 01
    NoAnswer
};

/// The largest block that one request may read.
struct LargestBlock
{
    int function = 0; ///< that was used; 0: none can be
    int most = 0;
    /// The next item exists, and is in no larger block: the limit is the station's. Otherwise only an item
    /// behind the block is lacking, and the limit may be higher.
    bool isLimit = false;
};

enum class GapReads
{
    NotFound, ///< no lacking item was found, so that nothing is known
    Refused,
    Answered
};

struct StationLimits
{
    int station = 0;
    bool isThere = false;
    bool requestCrcHighFirst = false;
    bool replyCrcHighFirst = false;
    std::map<int, Knowledge> functions; ///< those that read: 1 to 4, 8, 17, 43
    LargestBlock registers;
    LargestBlock bits;
    GapReads gaps = GapReads::NotFound;
    int gapAt = 0; ///< the lacking register that was read over
    /// From the end of an answer to the next request; 0: the silence of the line is enough. Nothing where it
    /// was not found.
    std::optional<Time> leastPause;
    Histogram replyTimes; ///< of reads of one item
};

struct LimitsWish
{
    int station = 1;
    int address = 0;   ///< that exists, and has others behind it
    int samples = 200; ///< reads whose reply times are taken
    int retries = 2;
};

/// Finds the limits of one station.
class LimitsFinder : public Finder
{
public:
    explicit LimitsFinder(const LimitsWish &wish);

    std::optional<Question> next() override;
    void take(const Answer &answer) override;

    const StationLimits &result() const { return result_; }

private:
    enum class Stage
    {
        First, ///< reads, until something answers
        Pause,
        Functions,
        Registers,
        BehindRegisters,
        Bits,
        BehindBits,
        Border,
        Gap,
        Samples,
        Over
    };
    Question question(const QByteArray &frame) const;
    Question read(int function, int address, int count) const;
    Question sample() const;
    void takeFirst(const Answer &answer);
    void takePause(const Answer &answer);
    void passPause(bool isEnough);
    void takeFunction(const Answer &answer);
    void takeBlock(const Answer &answer, LargestBlock *block, int most);
    void takeBehind(const Answer &answer, LargestBlock *block);
    void takeBorder(const Answer &answer);
    void begin(Stage stage);
    void beginBlock(const std::array<int, 2> &functions, LargestBlock *block, int most);
    void beginBorder();
    bool isUsable(int function) const;

    LimitsWish wish_;
    StationLimits result_;
    Stage stage_ = Stage::First;
    int function_ = 0;       ///< that is asked next
    int sampleFunction_ = 0; ///< one that is answered
    bool sampleIsReply_ = false;
    Time pause_{}; ///< that is kept

    bool isPrimed_ = false; ///< the next answer tells of the pause
    Time triedPause_{};
    Time lowPause_{};  ///< known to be too short
    Time highPause_{}; ///< known to be enough; 0 = none
    int goodTries_ = 0;
    int badTries_ = 0;

    int low_ = 0;  ///< known to be answered
    int high_ = 0; ///< known to be refused
    int tried_ = 0;
    int coarse_ = 0; ///< number of the next coarse probe
    int samples_ = 0;
};

} // namespace plc::host

#endif
