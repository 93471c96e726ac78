/// @file
/// Which registers or bits of an area there are, found out by few reads.
#ifndef PLC_FINDING_AREA_MAPPER_H
#define PLC_FINDING_AREA_MAPPER_H

#include <optional>
#include <set>
#include <vector>

#include "host/finding/finder.h"
#include "runtime/line/rtu_layout.h"

namespace plc::host {

/// Functions 1 and 2.
constexpr bool isReadOfBits(int function)
{
    return function <= kReadDiscreteInputs;
}

struct MapWish
{
    int station = 1;
    int function = kReadHoldingRegisters; ///< 1 to 4
    int first = 0;
    int count = kAddresses;
    /// Islands of at least this many items are found, with exact borders; 1 = every address is asked for.
    int least = 32;
    int block = kMostReadRegisters; ///< most items in one request
    int retries = 3;
    bool crcHighFirst = false; ///< of requests
    std::optional<int> known;  ///< an address that is there, by which a station that is silent about what it
                               ///< lacks is told from a dead one
    Time timeout = std::chrono::seconds(1);
};

/// From first to last, both included.
struct Stretch
{
    int first = 0;
    int last = 0;
    int count() const { return last - first + 1; }
    bool operator==(const Stretch &other) const { return first == other.first && last == other.last; }
};

/// What is known of an address.
enum class Place : char
{
    Unknown, ///< not asked for
    There,
    ThereInBlock, ///< read together with others alone
    Lacking,
    Unsettled ///< asked for often, and never answered so that it can be told
};

enum class MapEnd
{
    Open,
    Done,
    NoAnswer,       ///< the station has answered nothing at all, or no longer answers
    UnknownFunction ///< exception 01
};

/// Asks for single items at a stride of MapWish::least. Each one that is there is the begin of an island,
/// which is read in blocks to both sides. Where a block is refused, halving finds the longest one that is
/// not: its neighbour is lacking. A block is answered only if all its items are there, so that every item of
/// an island has been read. An island that is longer than every block so far is read whole, so that the
/// largest block that the station takes is known as far as it matters. Where a station answers such blocks
/// all the same, each item is asked for alone.
class AreaMapper : public Finder
{
public:
    explicit AreaMapper(const MapWish &wish);

    std::optional<Question> next() override;
    void take(const Answer &answer) override;

    MapEnd end() const { return end_; }
    /// Stretches of items that there are.
    std::vector<Stretch> islands() const { return stretches(true); }
    /// The others, as far as they have been passed.
    std::vector<Stretch> holes() const { return stretches(false); }
    std::vector<int> unsettled() const;
    int countOf(Place place) const;
    /// Share of the area that has been passed, 0 to 1.
    double progress() const;
    /// Most items in one request; each island has been read in blocks as long as that or as itself.
    int block() const { return block_; }
    /// Codes of the exceptions with which items were refused.
    const std::set<int> &codes() const { return codes_; }
    bool isSilentAboutLacking() const { return !hasRefused_ && silences_ > 0 && answers_ > 0; }
    bool readsOverLacking() const { return isLenient_; }
    const MapWish &wish() const { return wish_; }

    /// What was found in an earlier run. Before the first question.
    void remember(const std::vector<Place> &places, int block);
    const std::vector<Place> &places() const { return places_; }
    /// The same, with Unknown where nobody has answered and no answer since has shown that the station is
    /// there.
    std::vector<Place> confirmedPlaces() const;

private:
    enum class Phase
    {
        Probe,
        Left,
        Right,
        Whole ///< reads the island in blocks as large as it allows
    };
    enum class Purpose
    {
        Probe,  ///< one item of the grid
        Extend, ///< a block beside the island
        Behind, ///< the item that a block may have been refused for
        Far,    ///< the last item of a block that was answered
        Whole,  ///< a block inside the island
        Control ///< one that is there
    };
    /// Of what was asked for.
    enum class Verdict
    {
        There,
        Refused,
        Silent,
        Unclear ///< ask again
    };
    std::optional<Question> ask(Purpose purpose, int at, int count);
    std::optional<Question> nextProbe();
    std::optional<Question> nextExtension();
    void beginWhole();
    std::optional<Question> nextWhole();
    void takeWhole(bool isAnswered);
    void leaveIsland();
    Verdict verdictOf(const Answer &answer);
    void noteAnswerTime(const Answer &answer);
    void noteSilence();
    void giveUp();
    void takeControl(const Answer &answer);
    void takeBlock(Verdict verdict);
    void takeSingle(Verdict verdict);
    void settleExtension();
    void beginExtension();
    void mark(int at, Place place);
    void markBlock(int at, int count);
    void becomeLenient();
    bool isThere(int at) const;
    int edge() const { return phase_ == Phase::Left ? left_ : right_; }
    /// First item of a block of @p count beside the island.
    int beside(int count) const { return phase_ == Phase::Left ? left_ - count : right_ + 1; }
    /// The farthest item of such a block.
    int far(int count) const { return phase_ == Phase::Left ? left_ - count : right_ + count; }
    /// Most items beside the island that one read may prove.
    int reach() const { return isLenient_ ? 1 : block_; }
    int size() const { return static_cast<int>(places_.size()); }
    std::vector<Stretch> stretches(bool there) const;

    MapWish wish_;
    std::vector<Place> places_; ///< by address, less MapWish::first
    MapEnd end_ = MapEnd::Open;
    Phase phase_ = Phase::Probe;
    Purpose purpose_ = Purpose::Probe;
    int askedAt_ = 0;
    int asked_ = 0; ///< items
    int cursor_ = 0;
    int left_ = 0; ///< of the island
    int right_ = 0;

    int low_ = 0;         ///< items beside the island that were read as one block
    int high_ = 0;        ///< items of which a block was refused; room_ + 1 for none
    int room_ = 0;        ///< items that the block may have
    bool isSure_ = false; ///< the refusal of high_ items was an exception

    int block_;
    int proven_ = 1;         ///< items of the largest block that was answered
    bool isStrict_ = false;  ///< a block was refused since one of its items is lacking
    bool isLenient_ = false; ///< a block was answered although one of its items is lacking
    bool hasRefused_ = false;
    int silences_ = 0;
    int silencesInARow_ = 0;
    std::vector<int> silentPlaces_; ///< single items that were not answered since the last answer
    int repeats_ = 0;               ///< of the same question
    int controls_ = 0;
    bool isControlDue_ = false;
    std::optional<int> lastThere_;
    int answers_ = 0;
    Time longest_{};
    std::set<int> codes_;
};

} // namespace plc::host

#endif
