#include "runtime/testing/field.h"

#include <algorithm>
#include <utility>

#include "runtime/line/exception_codes.h"
#include "runtime/line/rtu_layout.h"
#include "runtime/line/setting_limits.h"

namespace plc::simulation {

namespace {

using runtime::isReadFunction;
using runtime::kExceptionBit;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr std::size_t kCrcLen = runtime::kCrcLen;

/// The second master polls the same stations, but only quantities and set-points that the master never asks
/// for: what it is answered could otherwise be taken for an answer to the master, as RTU has nothing else to
/// tell them apart by.
constexpr int kForeignQuantity = 101;
constexpr int kLastForeignQuantity = 120;
constexpr int kFirstForeignSetpoint = 240;
/// Longest time from the start of a byte to the moment when the master has it: slow lines and converters.
constexpr Time kUnheard = milliseconds(40);

const std::vector<Fault> &exchangeFaults()
{
    static const std::vector<Fault> kAll = [] {
        std::vector<Fault> all;
        for (int i = 0; i < kExchangeFaults; ++i)
            all.push_back(static_cast<Fault>(i));
        return all;
    }();
    return kAll;
}

const std::vector<Fault> &lastingFaults()
{
    static const std::vector<Fault> kAll = {Fault::Silence,      Fault::Restart, Fault::LineCut,
                                            Fault::SecondMaster, Fault::Busy,    Fault::Acknowledge,
                                            Fault::OtherWriter,  Fault::Babble};
    return kAll;
}

Message messageOf(const Bytes &bytes)
{
    Message message;
    message.bytes = bytes;
    return message;
}

void markNoise(Message *message, std::size_t at)
{
    message->noise.resize(message->bytes.size(), false);
    message->noise[at] = true;
}

} // namespace

Field::Field(const FieldPlan &plan, Stations &stations, Wire &wire, Journal &journal, FieldObserver &observer,
             std::uint64_t salt)
    : plan_(plan), stations_(stations), wire_(wire), journal_(journal), observer_(observer), random_(salt)
{
    for (const StationPlan &station : plan.stations)
        addStation(station);
}

void Field::addStation(const StationPlan &station)
{
    Device device;
    device.plan = station;
    const bool isNew = devices_.emplace(station.number, device).second;
    if (isNew && station.moveEvery > Time::zero())
        move(station.number);
}

void Field::setAnswerTime(int station, Time time)
{
    devices_.at(station).plan.fastest = devices_.at(station).plan.slowest = time;
}

void Field::schedule(Time at, std::function<void(Time)> what)
{
    agenda_.emplace(at, std::move(what));
}

Time Field::untilSome(Time mean)
{
    return random_.between(mean / 10, mean * 19 / 10);
}

void Field::count(Time now, Fault fault, int station)
{
    ++at(&counts_, fault);
    journal_.note(now, station > 0 ? "station" : "line", station, Bytes(), nameOf(fault));
}

Time Field::nextEvent() const
{
    const Time planned = agenda_.empty() ? Time::max() : agenda_.begin()->first;
    return frame_.empty() ? planned : std::min(planned, lastHeard_ + wire_.silence());
}

void Field::run(Time now)
{
    now_ = now;
    for (;;) {
        const Time frameEnd = frame_.empty() ? Time::max() : lastHeard_ + wire_.silence();
        const Time planned = agenda_.empty() ? Time::max() : agenda_.begin()->first;
        if (std::min(frameEnd, planned) > now)
            return;
        if (frameEnd <= planned) {
            endFrame(frameEnd);
            continue;
        }
        const auto what = std::move(agenda_.begin()->second);
        agenda_.erase(agenda_.begin());
        what(planned);
    }
}

void Field::move(int station)
{
    Device &device = devices_.at(station);
    schedule(now_ + untilSome(device.plan.moveEvery), [this, station](Time now) {
        stations_.move(now, station);
        now_ = now;
        move(station);
    });
}

bool Field::isMuted(int station) const
{
    return now_ < devices_.at(station).mutedUntil;
}

void Field::muteStation(int station, Time until)
{
    devices_.at(station).mutedUntil = until;
}

void Field::cutLine(bool cut)
{
    lineCut_ = cut;
    // What is under way now will not reach the master whole: it waits no longer than for a reply that never
    // came.
    if (cut)
        openUntil_ = now_;
}

void Field::restartStation(Time now, int station)
{
    stations_.restart(now, station);
}

void Field::sendAt(Time at, int source, const Message &message)
{
    schedule(at, [this, source, message](Time now) {
        journal_.note(now, source == kNoise ? "noise" : "source", source == kNoise ? 0 : source,
                      message.bytes, "");
        wire_.send(source, now, message);
    });
}

bool Field::drawFault(int station, Fault *fault)
{
    const auto forced = std::find_if(forced_.begin(), forced_.end(),
                                     [station](const auto &entry) { return entry.second == station; });
    if (forced != forced_.end()) {
        *fault = forced->first;
        forced_.erase(forced);
        return true;
    }
    if (!faultsOn_ || !random_.permille(plan_.faultPermille))
        return false;
    *fault = random_.pick(plan_.faults.empty() ? exchangeFaults() : plan_.faults);
    return true;
}

Time Field::masterSends(Time now, const Bytes &frame, int tag)
{
    journal_.note(now, "master", 0, frame, "");
    tag_ = tag;
    openUntil_ = now;
    strayEcho_ = lateEcho_ = isHeldBack_ = false;
    drawn_.reset();
    Message message = messageOf(frame);
    Fault fault{};
    const bool faulty = drawFault(frame[0], &fault);
    if (faulty && fault == Fault::GapInRequest) {
        count(now, fault, frame[0]);
        message.gapBefore = random_.between(1, static_cast<int>(frame.size()) - 1);
        message.gap = random_.between(wire_.duration(1) / 2, 3 * wire_.silence());
    }
    const Time end = wire_.send(kMaster, now, message);
    if (!faulty || fault == Fault::GapInRequest)
        return end;
    if (fault == Fault::NoiseInRequest) {
        count(now, fault, frame[0]);
        const Time at = random_.between(now, end);
        makeNoise(at, random_.between(1, 4));
    } else if (fault == Fault::StrayEcho) {
        strayEcho_ = isReadFunction(frame[1]);
        if (strayEcho_)
            count(now, fault, frame[0]);
    } else if (fault == Fault::LateEcho) {
        lateEcho_ = true;
    } else {
        drawn_ = fault;
    }
    return end;
}

std::optional<Time> Field::takeLateEcho(Time end)
{
    if (!std::exchange(lateEcho_, false))
        return std::nullopt;
    count(now_, Fault::LateEcho, 0);
    isHeldBack_ = true;
    return end + random_.between(plan_.timeout * 9 / 10, plan_.latest);
}

bool Field::takeStrayEcho()
{
    const bool taken = strayEcho_;
    strayEcho_ = false;
    return taken;
}

void Field::makeNoise(Time at, int bytes)
{
    schedule(at, [this, bytes](Time now) {
        Message message;
        for (int i = 0; i < bytes; ++i)
            message.bytes.push_back(random_.byte());
        message.noise.assign(message.bytes.size(), true);
        journal_.note(now, "noise", 0, message.bytes, "");
        wire_.send(kNoise, now, message);
    });
}

void Field::hear(const WireByte &byte)
{
    if (lineCut_ && byte.source == kMaster)
        return;
    if (!frame_.empty() && byte.start - lastHeard_ >= wire_.silence())
        endFrame(lastHeard_ + wire_.silence());
    frame_.push_back(byte.value);
    if (std::find(sources_.begin(), sources_.end(), byte.source) == sources_.end())
        sources_.push_back(byte.source);
    lastHeard_ = byte.end;
}

/// The line has been silent long enough: what was heard is a frame.
void Field::endFrame(Time now)
{
    Bytes frame;
    frame.swap(frame_);
    std::vector<int> sources;
    sources.swap(sources_);
    constexpr std::size_t kShortest = 8;
    if (frame.size() < kShortest || frame[1] >= kExceptionBit ||
        !endsWithCrc(frame, plan_.requestCrcHighFirst))
        return;
    const int station = frame[0];
    // Nobody hears what he sends himself.
    if (std::find(sources.begin(), sources.end(), station) != sources.end() && station != 0)
        return;
    const bool ours = sources.front() == kMaster;
    if (station == 0 && ours)
        broadcast(now, frame);
    if (devices_.count(station) == 0)
        return;
    if (now < devices_.at(station).mutedUntil)
        return;
    answer(now, {station, frame, ours ? tag_ : -1, lastHeard_});
}

void Field::broadcast(Time now, const Bytes &frame)
{
    for (auto &[number, device] : devices_) {
        if (now < device.mutedUntil)
            continue;
        stations_.executeBroadcast(now, number, frame);
        observer_.executed(now, number, frame, tag_);
    }
}

/// Has the station do the request. @return its reply
Bytes Field::execute(Time now, const Request &request)
{
    const bool isMasters = request.tag >= 0;
    Stations::Done done = stations_.execute(now, request.frame, isMasters);
    if (done.hasWritten && isMasters)
        observer_.executed(now, request.station, request.frame, request.tag);
    return std::move(done.reply);
}

/// What the station says instead of answering, for the time being.
std::optional<Bytes> Field::refusalOf(Time now, const Request &request)
{
    const Device &device = devices_.at(request.station);
    // An exception names no place: one to the second master could not be told from one to this one.
    if (request.tag < 0)
        return std::nullopt;
    if (now < device.busyUntil)
        return stations_.refuse(request.frame, runtime::kExceptionBusy);
    if (now >= device.acknowledgesUntil || isReadFunction(request.frame[1]))
        return std::nullopt;
    execute(now, request);
    return stations_.refuse(request.frame, runtime::kExceptionAcknowledge);
}

void Field::answer(Time now, const Request &request)
{
    if (request.tag >= 0 && answering_) {
        const std::optional<Message> made = answering_(now, request.frame);
        if (made) {
            reply(now, request, *made, false, "as the test has it");
            return;
        }
    }
    const StationPlan &plan = devices_.at(request.station).plan;
    const std::optional<Bytes> refusal = refusalOf(now, request);
    if (refusal) {
        reply(now + random_.between(plan.fastest, plan.slowest), request, messageOf(*refusal), false, "");
        return;
    }
    if (request.tag >= 0 && request.tag == tag_ && drawn_ && applies(*drawn_, request.frame)) {
        count(now, *drawn_, request.station);
        answerWith(now, request, *drawn_);
        return;
    }
    reply(now + random_.between(plan.fastest, plan.slowest), request, messageOf(execute(now, request)), false,
          "");
}

bool Field::applies(Fault fault, const Bytes &frame) const
{
    switch (fault) {
    case Fault::DoubledReply:
        // A converter may hand over the first copy alone; then nothing tells the master of the second one,
        // which it would meet in its next exchange.
        return !plan_.handsOverInBursts;
    case Fault::WrongLength:
        return isReadFunction(frame[1]);
    default:
        return true;
    }
}

void Field::answerLate(Time now, const Request &request)
{
    const Time earliest = plan_.lateFrom > Time::zero() ? plan_.lateFrom : plan_.timeout * 9 / 10;
    const Time at = request.end + random_.between(earliest, plan_.latest);
    if (random_.oneIn(2)) {
        reply(at, request, messageOf(execute(now, request)), true, "late");
        return;
    }
    // The station is slow at doing, too.
    schedule(at, [this, request](Time later) {
        reply(later, request, messageOf(execute(later, request)), true, "done late");
    });
}

void Field::answerWith(Time now, const Request &request, Fault fault)
{
    const StationPlan &plan = devices_.at(request.station).plan;
    Time at = now + random_.between(plan.fastest, plan.slowest);
    switch (fault) {
    case Fault::LateReply:
        answerLate(now, request);
        return;
    case Fault::LostReply:
        execute(now, request);
        return;
    case Fault::Exception: {
        static const std::vector<int> kCodes = {1, 2, 3, 4, 5, 6, 8, 10, 11};
        const auto code = static_cast<std::uint8_t>(random_.pick(kCodes));
        reply(at, request, messageOf(stations_.refuse(request.frame, code)), false, nameOf(fault));
        return;
    }
    case Fault::ForeignReply: {
        Message foreign = messageOf(execute(now, request));
        const Message own = foreign;
        foreign.bytes[0] = static_cast<std::uint8_t>(request.station % runtime::kStationLimits.most + 1);
        for (std::size_t i = 3; i + kCrcLen < foreign.bytes.size(); ++i)
            foreign.bytes[i] = random_.byte();
        foreign.bytes.resize(foreign.bytes.size() - kCrcLen);
        appendCrc(&foreign.bytes, plan_.replyCrcHighFirst);
        const int liar = foreign.bytes[0];
        sendAt(at, liar, foreign);
        at += wire_.duration(static_cast<int>(foreign.bytes.size())) +
              random_.between(Time(1), milliseconds(10));
        reply(at, request, own, false, "behind that of another station");
        return;
    }
    case Fault::NoiseBefore: {
        const int bytes = random_.between(1, 12);
        makeNoise(at, bytes);
        at += wire_.duration(bytes) + random_.between(Time(1), 2 * wire_.silence());
        break;
    }
    default:
        break;
    }
    const Bytes good = execute(now, request);
    const Message message = damaged(good, fault);
    reply(at, request, message, false, nameOf(fault));
    const Time end = at + wire_.duration(static_cast<int>(message.bytes.size())) + message.gap;
    if (fault == Fault::NoiseAfter) {
        const Time noise = end + random_.between(Time(1), wire_.silence() / 2);
        makeNoise(noise, random_.between(1, 12));
    }
    if (fault == Fault::NoiseWithin) {
        const Time noise = random_.between(at + Time(1), end - wire_.duration(1) / 2);
        makeNoise(noise, random_.between(1, 4));
    }
}

/// The reply as the fault makes it.
Message Field::damaged(const Bytes &reply, Fault fault)
{
    Message message = messageOf(reply);
    Bytes &bytes = message.bytes;
    switch (fault) {
    case Fault::LeadingZero:
        // Not noise to the wire: behind a request a zero completes a good CRC, and would be changed.
        bytes.insert(bytes.begin(), 0);
        break;
    case Fault::CutFrame:
        bytes.resize(static_cast<std::size_t>(random_.between(1, static_cast<int>(bytes.size()) - 1)));
        break;
    case Fault::ByteGap:
        message.gapBefore = random_.between(1, static_cast<int>(bytes.size()) - 1);
        message.gap = random_.between(wire_.duration(1), milliseconds(15));
        break;
    case Fault::WrongCrc:
        bytes.back() = static_cast<std::uint8_t>(bytes.back() ^ random_.between(1, 255));
        markNoise(&message, bytes.size() - 1);
        break;
    case Fault::SwappedCrc:
        std::swap(bytes[bytes.size() - 1], bytes[bytes.size() - 2]);
        break;
    case Fault::WrongLength: {
        bytes.resize(bytes.size() - kCrcLen);
        const int data = bytes[2];
        // What is longer than asked for may still be under way when the wait is over, which nobody sees
        // behind a converter.
        const bool shorter = plan_.handsOverInBursts || random_.oneIn(2);
        const int other = shorter ? random_.below(data) : random_.between(data + 1, 255);
        bytes[2] = static_cast<std::uint8_t>(other);
        bytes.resize(3 + static_cast<std::size_t>(other), 0x5A);
        appendCrc(&bytes, plan_.replyCrcHighFirst);
        break;
    }
    case Fault::DoubledReply:
        message.gapBefore = static_cast<int>(bytes.size());
        // The master knows of a byte only when it has ended: by then the line must not have been silent
        // enough for a request.
        message.gap = random_.between(Time::zero(), (wire_.silence() - wire_.duration(1)) * 9 / 10);
        bytes.insert(bytes.end(), reply.begin(), reply.end());
        break;
    default:
        break;
    }
    return message;
}

void Field::reply(Time at, const Request &request, const Message &message, bool late, const char *what)
{
    if (message.bytes.empty())
        return;
    // What begins so near to the time-out that the master may not have heard of it, is late, too.
    late = late || at > request.end + plan_.timeout - kUnheard;
    if (request.tag >= 0 && request.tag == tag_ && !late && !lineCut_ && !isHeldBack_) {
        const Time end = at + wire_.duration(static_cast<int>(message.bytes.size())) + message.gap;
        openUntil_ = std::max(openUntil_, end);
    }
    schedule(at, [this, request, message, late, what](Time now) {
        journal_.note(now, "station", request.station, message.bytes, what);
        if (late && !lineCut_)
            observer_.lateReplyBegins(now, request.station, request.tag);
        wire_.send(request.station, now, message);
    });
}

void Field::setFaults(Time now, bool on)
{
    now_ = now;
    if (on == faultsOn_)
        return;
    faultsOn_ = on;
    if (on) {
        if (plan_.troubleEvery > Time::zero())
            schedule(now + untilSome(plan_.troubleEvery), [this](Time at) { makeTrouble(at); });
        return;
    }
    lineCut_ = false;
    secondMasterUntil_ = babbleUntil_ = now;
    forced_.clear();
    for (auto &[number, device] : devices_)
        device.mutedUntil = device.busyUntil = device.acknowledgesUntil = device.otherWriterUntil = now;
}

void Field::makeTrouble(Time now)
{
    if (!faultsOn_)
        return;
    schedule(now + untilSome(plan_.troubleEvery), [this](Time at) { makeTrouble(at); });
    const int station = random_.pick(plan_.stations).number;
    Device &device = devices_.at(station);
    switch (random_.pick(plan_.troubles.empty() ? lastingFaults() : plan_.troubles)) {
    case Fault::Silence:
        count(now, Fault::Silence, station);
        device.mutedUntil = now + random_.between(seconds(1), random_.oneIn(4) ? seconds(600) : seconds(60));
        break;
    case Fault::Restart:
        count(now, Fault::Restart, station);
        device.mutedUntil = now + random_.between(milliseconds(100), seconds(20));
        stations_.restart(now, station);
        break;
    case Fault::LineCut:
        if (lineCut_)
            break;
        count(now, Fault::LineCut, 0);
        cutLine(true);
        schedule(now + random_.between(milliseconds(100), random_.oneIn(4) ? seconds(120) : seconds(10)),
                 [this](Time) { lineCut_ = false; });
        break;
    case Fault::SecondMaster:
        if (now < secondMasterUntil_)
            break;
        secondMasterUntil_ = now + random_.between(seconds(5), seconds(120));
        secondMasterSends(now);
        break;
    case Fault::Busy:
        count(now, Fault::Busy, station);
        makeBusy(station, now + random_.between(seconds(1), random_.oneIn(4) ? seconds(600) : seconds(60)));
        break;
    case Fault::Acknowledge:
        count(now, Fault::Acknowledge, station);
        letAcknowledge(station, now + random_.between(seconds(10), seconds(300)));
        break;
    case Fault::OtherWriter:
        if (now < device.otherWriterUntil)
            break;
        count(now, Fault::OtherWriter, station);
        letOtherWrite(now, station, now + random_.between(seconds(10), seconds(300)));
        break;
    default:
        if (now < babbleUntil_)
            break;
        count(now, Fault::Babble, 0);
        babbleUntil_ = now + random_.between(milliseconds(50), seconds(3));
        babble(now);
        break;
    }
}

void Field::secondMasterSends(Time now)
{
    if (now >= secondMasterUntil_)
        return;
    // Mostly it waits for its turn as far as it can see; but both masters may see the same silence.
    if ((wire_.isBusy() || now - wire_.lastEnd() < wire_.silence()) && !random_.oneIn(8)) {
        schedule(now + random_.between(wire_.duration(1), milliseconds(10)),
                 [this](Time at) { secondMasterSends(at); });
        return;
    }
    count(now, Fault::SecondMaster, 0);
    Bytes frame;
    frame.push_back(static_cast<std::uint8_t>(
        random_.oneIn(4) ? random_.between(runtime::kStationLimits.least, runtime::kStationLimits.most)
                         : random_.pick(plan_.stations).number));
    if (random_.oneIn(3)) {
        frame.push_back(kWriteSingleRegister);
        appendWord(&frame,
                   static_cast<std::uint16_t>(random_.between(kFirstForeignSetpoint, plan_.items - 1)));
        appendWord(&frame, static_cast<std::uint16_t>(random_.below(65536)));
    } else {
        const int quantity = random_.between(kForeignQuantity, kLastForeignQuantity);
        frame.push_back(random_.oneIn(2) ? kReadHoldingRegisters : kReadInputRegisters);
        appendWord(&frame, static_cast<std::uint16_t>(random_.between(0, plan_.items - quantity)));
        appendWord(&frame, static_cast<std::uint16_t>(quantity));
    }
    appendCrc(&frame, plan_.requestCrcHighFirst);
    journal_.note(now, "second master", 0, frame, "");
    const Time end = wire_.send(kSecondMaster, now, messageOf(frame));
    schedule(end + random_.between(milliseconds(30), seconds(2)), [this](Time at) { secondMasterSends(at); });
}

void Field::letOtherWrite(Time now, int station, Time until)
{
    devices_.at(station).otherWriterUntil = until;
    otherWriterWrites(now, station);
}

void Field::otherWriterWrites(Time now, int station)
{
    Device &device = devices_.at(station);
    if (now >= device.otherWriterUntil)
        return;
    const std::optional<int> place = stations_.placeOfOthers(station);
    if (place) {
        const auto value = static_cast<std::uint16_t>(random_.below(65536));
        stations_.writeByOthers(now, station, *place, value);
    }
    schedule(now + random_.between(milliseconds(5), milliseconds(700)),
             [this, station](Time at) { otherWriterWrites(at, station); });
}

void Field::babble(Time now)
{
    if (now >= babbleUntil_)
        return;
    const int bytes = random_.between(1, 8);
    Message message;
    for (int i = 0; i < bytes; ++i)
        message.bytes.push_back(random_.byte());
    message.noise.assign(message.bytes.size(), true);
    wire_.send(kNoise, now, message);
    schedule(now + wire_.duration(bytes) + random_.between(Time::zero(), 2 * wire_.duration(1)),
             [this](Time at) { babble(at); });
}

} // namespace plc::simulation
