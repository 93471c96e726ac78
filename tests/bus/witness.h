/// @file
/// What must hold on every line at every time.
///
/// - (a) What a read has brought into the mirror is what that station held there between the request and the
///   end of the reply; at any other time the mirror shows the last such value or one that the runtime wrote
///   since.
/// - (b) A write is reported exactly once, and as done only if the station took it.
/// - (c) Writes to one place are taken in the order in which they were ordered.
/// - (d) No request goes out while a reply in time to the one before is under way or still to come, and no
///   late reply falls into the exchange of another request.
/// - (e) The line was silent for 3.5 characters before each request.
/// - (f) A healthy line never reports a failure.
/// - (g) After the faults have ended, every watched element is read again by its cyclic read within a stated
///   time.
/// - (h) Memory does not grow (see BusRun).
/// - (j) An order for a station that is offline ends at once, and what was reported as ended is not sent any
///   more.
/// - (k) Nothing is sent to a station that the user has switched off; to one that is offline only reads, each
///   once. The first transaction after it has come back decides whether it stays: a cyclic read is sent once,
///   and one that fails takes it offline again.
/// - (l) A variable is said to be good only if all its parts were read well last, and not longer ago than its
///   turn has passed three times over, at the pace at which it was read while its station was there; and its
///   age is that of the oldest.
/// - (m) A bit is written into the register as the station held it between the start of the last reading of
///   the register and the write; and the write goes out within half a second from the reply with the
///   register.
/// - (n) On a line with an echo a broadcast is reported as done only when its echo was heard, whole and in
///   its turn.
/// - (o) After exception 06 no cyclic read goes to the station for the turnaround delay.
/// - (p) A write that ends because its station was switched off, went offline or the port was lost is said to
///   be sent and not confirmed if a frame of it has gone out, and not otherwise.
/// - (q) What stations that are offline cost by probes in vain, and those that are only just back by failing
///   again, takes a tenth of the time, the listening for late answers counted. Not counted is what fails
///   where nobody else has answered since the station went, and the first probe after somebody has.
/// - (r) While some stations are dead, off, or come and go, and all else is well, what is watched at the
///   others is read again within a stated time, whether it has a priority level or not.
/// - (t) A station that has a pause of its own is left alone for so long after each transaction with it that
///   ended well, and after each broadcast; and so is the line before a broadcast.
/// - (s) While the port is gone nothing is sent. Every order that was open when it went ends at once, and so
///   does every order that is given meanwhile.
/// - (u) The public interface tells of a variable what the last reading that brought it whole has brought, or
///   what was written there since and confirmed; with a write to any part of it under way, what was read
///   before that.
/// - (v) On a line of which nobody has said that it echoes, no write goes to a station that has not answered
///   since the port was opened, unless a read has gone to it before and something else than the echo of that
///   read has come, or nothing at all.
///
/// Where these are less strict than they read:
/// - A late reply to a request that was repeated unchanged cannot be told from the reply to the repeat, since
///   RTU numbers nothing. So 'the request' of (a) may be an earlier transmission of the same bytes, with none
///   of others between, but none that is longer ago than the latest late reply. The same holds for 'took it'
///   in (b): the station may have taken an equal frame of an earlier order.
/// - A late reply begins at most one time-out after the time-out, which is how long the master listens for
///   it.
/// - The silence of (e) is that of the bytes that the master has been handed: of a byte that is under way, or
///   that a converter holds back, it cannot know. For the same reason a second master's byte may be under
///   way.
/// - Made-up bytes never form a good CRC (ForgeGuard), and a second master asks for quantities and places
///   that this master never asks for (Field), and gets no exceptions, which name no place: a frame that is
///   right in every byte cannot be told from a true one.
#ifndef PLC_TESTS_BUS_WITNESS_H
#define PLC_TESTS_BUS_WITNESS_H

#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "frames.h"
#include "runtime/master/link.h"
#include "runtime/panel/read_state.h"
#include "runtime/panel/variable.h"
#include "witnessed_stations.h"

namespace plc::bus {

/// A value of one bit or register.
struct Element
{
    int baseType = 5; ///< 0, 1, 4 or 5
    int address = 0;
    int bit = -1; ///< of a register; -1 = the whole element
    std::uint16_t value = 0;
};

/// A write of the runtime.
struct WriteOrder
{
    runtime::Ticket ticket = 0;
    int station = 0;
    std::vector<Element> elements;
};

/// How often each of the rules above was checked.
struct Checks
{
    std::uint64_t values = 0;      ///< (a), elements after a reading
    std::uint64_t mirrored = 0;    ///< (a), elements at other times
    std::uint64_t reports = 0;     ///< (b), ends of orders
    std::uint64_t takenWrites = 0; ///< (c), elements
    std::uint64_t requests = 0;    ///< (d) and (e)
    std::uint64_t lateReplies = 0; ///< (d)
    std::uint64_t healthyTransactions = 0;
    std::uint64_t recoveries = 0;   ///< (g) and (r), elements
    std::uint64_t refusals = 0;     ///< (j)
    std::uint64_t probes = 0;       ///< (k), requests to stations that are offline or only just back
    std::uint64_t statuses = 0;     ///< (l)
    std::uint64_t bookedProbes = 0; ///< (q)
    std::uint64_t priorityReads = 0;
    std::uint64_t writeBacks = 0;  ///< (m)
    std::uint64_t broadcasts = 0;  ///< (n)
    std::uint64_t unconfirmed = 0; ///< (p), writes that were taken back after a frame had gone out
    std::uint64_t busy = 0;        ///< (o), transactions that ended with exception 06
    std::uint64_t portOrders = 0;  ///< (s), orders that ended since the port was gone
    std::uint64_t pauses = 0;      ///< (t), requests to stations that have a pause
    std::uint64_t toldValues = 0;  ///< (u), values of variables
    std::uint64_t firstWrites = 0; ///< (v), reads before a write
};

/// Looks on and compares. Notes the first thing that is wrong.
class Witness : public FieldObserver, public LinkObserver
{
public:
    struct Plan
    {
        Time silence{}; ///< before each request
        Time latest{};  ///< as in FieldPlan
        Time longestReply{};
        bool echo = false;          ///< the master hears itself
        bool mustCheckEcho = false; ///< nobody has told it so
        Time turnaround{};
        Time timeout{};
        Time guard{};               ///< listening for late answers after a time-out
        std::map<int, Time> pauses; ///< of stations that have a pause of their own
    };
    /// Reads elements from the driver's mirror.
    using ReadMirror =
        std::function<std::vector<std::uint16_t>(int station, int baseType, int first, int count)>;

    Witness(const Plan &plan, Journal &journal, ReadMirror readMirror);
    void setField(const Field *field) { field_ = field; }
    void setStations(WitnessedStations *stations) { stations_ = stations; }

    // From the line.
    bool isOver() const override { return !complaint_.empty(); }
    void masterSends(Time now, Time lastHeard, const Bytes &frame) override;
    void masterHasSent(Time end) override { sent_.end = end; }
    void masterHearsItself() override { sent_.isHeard = true; }
    void timeStandsStill(Time now) override;
    void executed(Time now, int station, const Bytes &frame, int tag) override;
    void lateReplyBegins(Time now, int station, int tag) override;

    // From the host.
    void news(Time now, const runtime::News &news) override;

    // From the runtime.
    /// These elements are read over and over.
    void watched(int station, int baseType, int first, int count);
    void ordered(Time now, const WriteOrder &order);
    void orderedRead(Time now, runtime::Ticket ticket);
    void switched(Time now, int station, bool enabled);
    /// The session says that the order has ended.
    void ended(Time now, runtime::Ticket ticket, const runtime::OrderResult &result);
    /// Looks at the mirror at any time.
    void lookAt(Time now, int station, int baseType, int first, int count);
    /// Stations whose orders end at once.
    void mustBeOffline(Time now, runtime::Ticket ticket, const runtime::OrderResult &result);
    /// The port is lost.
    void mustBeLost(Time now, runtime::Ticket ticket, const runtime::OrderResult &result);
    struct CyclicRead
    {
        std::optional<Time> lastGood;
        bool lastEndedWell = false;
        int station = 0;
        Time lastEnd{};
        std::optional<Time> pace; ///< from one end to the next answer
        Time paceBefore{};        ///< the one before; 0 = none
    };
    /// What is told of a variable.
    struct Told
    {
        runtime::VariableState state;
        bool hasValue;
        Time age;
        Time precision; ///< of the age, which is rounded down
        /// What several requests bring is told when the last of them has come. A place may be read by two
        /// requests of a scan, whose variables overlap, so that only two paces make a scan.
        bool ofWholeReadings;
        bool mayBeOlder; ///< a write that was under way has kept readings from being told
    };
    /// True where a write touches the place that was under way at the last reading of it, or is since.
    bool isWrittenSince(int station, int baseType, int first, int count) const;
    /// Looks at what is told of a variable that is read by @p reads.
    void checkStatus(Time now, const std::string &name, int station,
                     const std::vector<const CyclicRead *> &reads, const Told &told);
    /// The cyclic reads number @p first to @p first + @p count - 1.
    std::vector<const CyclicRead *> readsOf(int first, int count);
    /// The same of watched places, each of which is read by some request of the driver's packing.
    std::vector<const CyclicRead *> readsOfPlaces(int station, int baseType, int first, int count);
    /// What is told of a variable that one request reads is what that has brought last.
    /// @param values  none where it was never read.
    void checkValues(Time now, const runtime::Variable &variable, int station,
                     const std::vector<std::uint64_t> &values);
    void setHealthy(Time now, bool healthy);
    /// Every watched element has been read by its cyclic read.
    /// @param except  stations of which nothing is expected.
    void checkRecovery(Time now, Time since, const std::set<int> &except = {});

    /// Forgets what nobody needs any more.
    void forget(Time now);

    /// Complaints that begin so are not made, as "(d)": to see what else comes of a fault.
    void overlook(const std::string &rule) { overlooked_.push_back(rule); }
    /// Notes what is wrong, unless something else was before.
    void complain(Time now, const std::string &what);
    /// What is wrong, with the time; empty as long as all is well.
    const std::string &complaint() const { return complaint_; }
    const Checks &checks() const { return checks_; }
    /// Entries of all lists.
    std::size_t size() const;

private:
    struct Sent
    {
        int tag = -1;
        Time start{};
        Time end{};
        Time chainStart{}; ///< first transmission of these bytes, with none of others between
        Bytes frame;
        int hostId = 0;
        int ticket = 0;
        bool isWrite = false;
        bool isHeard = false; ///< the master has heard its own bytes
        Time readFrom{};      ///< of the write half of a read-modify-write: start of the last reading
    };
    struct Order
    {
        WriteOrder order;
        std::vector<bool> taken; ///< by element
        Time orderedAt{};
        Time endedAt{}; ///< only if `ended`
        bool ended = false;
        int reports = 0;
        std::optional<Time> readFrom; ///< start of the last transmission of a read half
        bool wasSent = false;         ///< a frame that writes has gone out
        Time readEnded{};             ///< when a read half was answered last
    };
    struct Reading
    {
        Time orderedAt{};
        Time endedAt{}; ///< only if `ended`
        bool ended = false;
        int transactions = 0; ///< that ended well
        int reports = 0;
    };
    enum class Absence
    {
        Offline,
        Probation ///< it has answered a probe, and nothing else yet
    };
    struct Execution
    {
        Time at;
        int station;
        Bytes frame;
    };
    struct Written
    {
        runtime::Ticket ticket;
        Element element;
        bool isConfirmed;
    };
    struct Former
    {
        std::uint16_t read;
        std::vector<Written> written; ///< and confirmed
    };
    /// What the mirror may show at a place: the last reading, and what the runtime wrote since.
    struct Shown
    {
        std::uint16_t read = 0;
        CyclicRead cyclic;         ///< of the reads that bring it
        std::uint16_t brought = 0; ///< by the last of these that ended well
        std::vector<Written> written;
        bool isWritten = false; ///< a write was under way when it was read last
        /// What was read before, while a write to anything in its request was under way: the public interface
        /// takes no value of a variable then, not even of the places that nobody writes.
        std::vector<Former> passedOver;
    };
    struct Place
    {
        int station;
        int baseType;
        int address;
        bool operator<(const Place &other) const
        {
            return std::tie(station, baseType, address) <
                   std::tie(other.station, other.baseType, other.address);
        }
    };

    bool isHealthySince(Time time) const;
    bool isAway(int station) const;
    bool wasThere(const CyclicRead &read) const;
    bool mayBeGood(Time now, const CyclicRead &read, bool isOfTwo) const;
    void checkFirstWrite(Time now);
    void noteEchoCheck(const runtime::TransactionReport &report);
    void checkBudget(Time now, const runtime::TransactionReport &report);
    void checkLeftAlone(Time now);
    void noteHalf(Time now);
    void checkPauses(Time now);
    void noteRest(Time now, const runtime::TransactionReport &report);
    void noteBusy(Time now, const runtime::TransactionReport &report);
    void checkProbation(Time now, const runtime::TransactionReport &report,
                        const std::optional<runtime::StationNews> &news);
    void readingEnded(Time now, runtime::Ticket ticket, const runtime::OrderResult &result);
    void checkOnlyOrdered(Time now, const Bytes &frame, const WriteOrder &order);
    bool isOneBitAway(Time now, const Sent &sent, int station, const Order &order, int address,
                      std::uint16_t value) const;
    void transactionEnded(Time now, const runtime::TransactionReport &report);
    void noteCyclic(Time now, const runtime::TransactionReport &report, CyclicRead *read) const;
    void checkReading(Time now, const runtime::TransactionReport &report);
    void reported(Time now, const runtime::OrderNews &news);
    bool wasTaken(const Order &order, std::size_t element, Time now) const;
    bool isOver(runtime::Ticket ticket, Time now) const;
    void confirm(const WriteOrder &order);
    static void noteFormer(const Former &former, std::vector<Former> *list);
    static std::vector<Written> confirmed(const std::vector<Written> &written);
    static bool mayShow(std::uint16_t read, const std::vector<Written> &written, std::uint16_t value);
    bool isWrittenNow(int station, int baseType, int first, int count) const;
    static bool mayBeTold(const Shown &shown, std::uint64_t value, bool isPutOff);
    const Sent *sentWith(int tag) const;
    void taken(Time now, int station, const Sent &sent, Order *order, std::size_t element,
               std::uint16_t value);

    Plan plan_;
    Journal &journal_;
    ReadMirror readMirror_;
    const Field *field_ = nullptr;
    WitnessedStations *stations_ = nullptr;
    std::optional<Time> healthySince_;
    std::vector<std::string> overlooked_;
    std::string complaint_;
    Checks checks_;

    Sent sent_;
    std::deque<Sent> earlier_;                 ///< sent before, as long as a late reply may come
    std::map<runtime::Ticket, Order> orders_;  ///< open, and ended a while ago
    std::map<runtime::Ticket, Reading> reads_; ///< open, and ended a while ago
    int sentInTransaction_ = 0;                ///< transmissions of the transaction in progress
    bool isPortLost_ = false;
    Time portLostAt_{}; ///< when it was lost last
    std::set<int> switchedOff_;
    std::map<int, Absence> absences_;       ///< of stations that are away or only just back
    std::set<int> mayBeWritten_;            ///< (v): stations to which writes may go
    std::map<int, Time> restedFrom_;        ///< end of the last transaction with stations that have a pause
    std::map<int, Time> busyUntil_;         ///< of stations that have said so
    std::map<int, CyclicRead> cyclicReads_; ///< by number
    std::map<int, Time> changedAt_;         ///< when a station went, came back or was switched last
    std::set<int> probedSince_;             ///< stations with a probe in vain since somebody has answered
    Time lastAnswer_{};                     ///< of any station
    std::map<int, Time> answeredAt_;        ///< when a station answered last
    std::map<int, Time> wentAt_;            ///< when a station went offline last
    double booked_ = 0; ///< (q): seconds of probes that the time passed has not paid for yet
    Time bookedAt_{};
    std::map<Place, runtime::Ticket> lastTaken_;
    std::deque<Execution> executions_;
    std::map<Place, Shown> shown_;
};

} // namespace plc::bus

#endif
