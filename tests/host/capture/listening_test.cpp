/// @file
/// Listening on a port in virtual time.
#include "host/capture/listening.h"

#include <gtest/gtest.h>

#include <random>

#include "host/capture/bad_traffic.h"
#include "runtime/line/failure.h"

namespace {

using namespace plc::host;
namespace runtime = plc::runtime;
using std::chrono::milliseconds;
using std::chrono::seconds;

/// A line with a clock of its own. Who listens with other settings than the line's gets other bytes, or none:
/// a port loses characters whose parity or stop bit is wrong.
class VirtualLine
{
public:
    VirtualLine(const LineSetup &setup, const Traffic &traffic, unsigned seed)
        : setup_(setup), batches_(batchesOf(traffic, milliseconds(4))), random_(seed)
    {}

    class Listened : public Port
    {
    public:
        Listened(VirtualLine *line, const LineSetup &setup) : line_(line), setup_(setup) {}
        void send(const QByteArray &bytes) override { line_->sent += bytes; }
        QByteArray receive(Time until) override { return line_->receive(setup_, until); }

    private:
        VirtualLine *line_;
        LineSetup setup_;
    };

    Time now{0};
    QByteArray sent;
    bool isOver() const { return next_ >= batches_.size(); }

private:
    QByteArray receive(const LineSetup &setup, Time until)
    {
        while (!isOver() && batches_[next_].at < now)
            ++next_; // came while no port was open
        if (isOver() || batches_[next_].at > until) {
            now = std::max(now, until);
            return QByteArray();
        }
        now = batches_[next_].at;
        const QByteArray bytes = batches_[next_++].bytes;
        return setup.baud == setup_.baud && setup.parity == setup_.parity ? bytes : garbled(setup, bytes);
    }

    QByteArray garbled(const LineSetup &setup, const QByteArray &bytes)
    {
        QByteArray come;
        for (const char byte : bytes) {
            if (setup.baud == setup_.baud && random_() % 2 == 0)
                come +=
                    setup.parity == Parity::None ? static_cast<char>(random_() % 4 == 0 ? 0 : byte) : byte;
            else if (setup.baud != setup_.baud && random_() % 3 == 0)
                come += static_cast<char>(random_());
        }
        return come;
    }

    LineSetup setup_;
    std::vector<Batch> batches_;
    std::size_t next_ = 0;
    std::mt19937 random_;
};

ListeningManner mannerOn(VirtualLine &line)
{
    ListeningManner manner;
    manner.now = [&line] { return line.now; };
    manner.isOver = [&line] { return line.isOver(); };
    return manner;
}

TEST(Listening, HandsOverAllThatIsHeardAndNeverSends)
{
    const Traffic traffic = badTraffic(1, 9600, 200);
    VirtualLine line({9600, Parity::Even}, traffic, 1);
    VirtualLine::Listened port(&line, {9600, Parity::Even});
    Listener listener(9600, true);
    QByteArray heard;
    int frames = 0;
    listenOn(port, listener, mannerOn(line), [&](const std::vector<HeardFrame> &more) {
        for (const HeardFrame &frame : more) {
            heard += frame.bytes;
            frames += frame.isGood() ? 1 : 0;
        }
    });
    EXPECT_EQ(traffic.bytes, heard) << "nothing is left out and nothing added";
    EXPECT_GT(frames, 300);
    EXPECT_TRUE(line.sent.isEmpty());
}

TEST(Listening, HandsOverWhatWasHeardBeforeThePortIsLost)
{
    class Lost : public Port
    {
    public:
        void send(const QByteArray &) override {}
        QByteArray receive(Time) override
        {
            if (isOver_)
                throw Failure(FailureKind::Port, "gone");
            isOver_ = true;
            return QByteArray("\x11\x83\x02\xC1\x34", 5);
        }

    private:
        bool isOver_ = false;
    } port;
    Listener listener(9600, true);
    int frames = 0;
    EXPECT_THROW(
        listenOn(port, listener, ListeningManner(),
                 [&](const std::vector<HeardFrame> &more) { frames += static_cast<int>(more.size()); }),
        Failure);
    EXPECT_EQ(1, frames);
}

/// Each of the likely settings is found on its line, with a master that asks without a rest.
void expectFound(unsigned seed)
{
    Time longest{0};
    for (const LineSetup &right : likelySetups()) {
        const Traffic traffic = badTraffic(seed ^ static_cast<unsigned>(right.baud), right.baud, 2500);
        VirtualLine line(right, traffic, seed);
        SettingSearch search(likelySetups());
        const std::optional<LineSetup> found =
            findSetup(search, mannerOn(line), [&line](const LineSetup &setup) {
                return std::make_unique<VirtualLine::Listened>(&line, setup);
            });
        ASSERT_TRUE(found) << right.baud << " seed " << seed;
        EXPECT_EQ(right.baud, found->baud) << "seed " << seed;
        EXPECT_EQ(right.parity, found->parity) << right.baud << " seed " << seed;
        EXPECT_LE(line.now, seconds(120)) << right.baud << " seed " << seed;
        longest = std::max(longest, line.now);
        EXPECT_TRUE(line.sent.isEmpty());
    }
    std::printf("seed %u: the last setting was found after %.1f s\n", seed, runtime::seconds(longest));
}

class SettingSearchSeeds : public ::testing::TestWithParam<unsigned>
{};

TEST_P(SettingSearchSeeds, FindEverySettingByListeningAlone)
{
    expectFound(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Fixed, SettingSearchSeeds, ::testing::Range(1u, 4u));

TEST(SettingSearchFreshSeed, FindsEverySettingByListeningAlone)
{
    expectFound(freshSeed());
}

TEST(Listening, PassesOverASettingThatThePortCannotHave)
{
    const LineSetup right{9600, Parity::None};
    VirtualLine line(right, badTraffic(1, 9600, 500), 1);
    SettingSearch search({{19200, Parity::Even}, {115200, Parity::Even}, right});
    const auto found = findSetup(search, mannerOn(line), [&line](const LineSetup &setup) {
        if (setup.baud == 115200)
            throw Failure(FailureKind::Port, "no such rate");
        return std::make_unique<VirtualLine::Listened>(&line, setup);
    });
    ASSERT_TRUE(found);
    EXPECT_EQ(9600, found->baud);
    SettingSearch hopeless({right});
    EXPECT_THROW(findSetup(hopeless, ListeningManner(),
                           [](const LineSetup &) -> std::unique_ptr<Port> {
                               throw Failure(FailureKind::Port, "no such port");
                           }),
                 Failure);
}

TEST(SettingSearch, TriesTheLikelySettingsFirst)
{
    const std::vector<LineSetup> setups = likelySetups();
    EXPECT_EQ(19200, setups[0].baud);
    EXPECT_EQ(Parity::Even, setups[0].parity);
    EXPECT_EQ(9600, setups[1].baud);
    EXPECT_EQ(Parity::Even, setups[1].parity);
    EXPECT_EQ(9600, setups[2].baud);
    EXPECT_EQ(Parity::None, setups[2].parity);
}

/// Moments at which the settings are left on a line without a byte.
TEST(SettingSearch, GivesEachRoundTwiceTheTime)
{
    SettingSearch search({{9600, Parity::Even}, {9600, Parity::None}});
    Time now{0};
    std::vector<Time> left;
    while (left.size() < 6) {
        search.begin(now);
        Time waked = search.wakeAt();
        while (search.take(QByteArray(), waked) == SettingSearch::Step::Listen)
            waked = search.wakeAt();
        left.push_back(waked - now);
        now = waked;
    }
    EXPECT_EQ((std::vector<Time>{seconds(1), seconds(1), seconds(2), seconds(2), seconds(4), seconds(4)}),
              left);
    EXPECT_EQ(3, search.rounds());
}

TEST(SettingSearch, IsNotMisledByFramesWithPiecesBetweenThem)
{
    SettingSearch search({{9600, Parity::Even}, {9600, Parity::None}});
    search.begin(Time::zero());
    const QByteArray request = QByteArray::fromHex("110300640002 8744");
    const QByteArray pieces = QByteArray::fromHex("11 34 CD");
    SettingSearch::Step step = SettingSearch::Step::Listen;
    for (int i = 0; i < 40 && step == SettingSearch::Step::Listen; ++i)
        step = search.take(i % 2 == 0 ? request : pieces, milliseconds(100 * i));
    EXPECT_EQ(SettingSearch::Step::Next, step);
}

TEST(SettingSearch, LeavesASettingWithoutGoodFramesBeforeItsTimeIsOver)
{
    SettingSearch search({{115200, Parity::Even}, {9600, Parity::None}});
    search.begin(Time::zero());
    EXPECT_EQ(SettingSearch::Step::Listen, search.take(QByteArray(599, '\xAA'), milliseconds(10)));
    EXPECT_EQ(SettingSearch::Step::Next, search.take(QByteArray(1, '\xAA'), milliseconds(11)));
    EXPECT_EQ(9600, search.current().baud);
}

} // namespace
