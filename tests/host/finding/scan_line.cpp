#include "scan_line.h"

#include <algorithm>

namespace plc::host {

namespace {

constexpr int kMaster = 0;
constexpr int kNoiseSender = 1000;
constexpr int kSecondMaster = 1001;
constexpr int kFirstStation = 1; ///< senders are numbered as the stations of the list

using namespace std::chrono_literals; // NOLINT(google-build-using-namespace)

QByteArray withCrc(std::vector<int> bytes)
{
    unsigned crc = 0xFFFF;
    for (const int byte : bytes) {
        crc ^= static_cast<unsigned>(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1u) != 0 ? (crc >> 1) ^ 0xA001u : crc >> 1;
    }
    bytes.push_back(static_cast<int>(crc & 0xFF));
    bytes.push_back(static_cast<int>(crc >> 8));
    QByteArray frame;
    for (const int byte : bytes)
        frame.append(static_cast<char>(byte));
    return frame;
}

/// A receiver looks at the first stop bit alone.
bool understands(const ScanSetting &left, const ScanSetting &right)
{
    return left.baud == right.baud && left.parity == right.parity;
}

Time silenceAt(const ScanSetting &setting)
{
    return std::max(setting.wire(1) * 7 / 2, Time(1750us));
}

} // namespace

ScanLine::ScanLine(std::vector<ScannedStation> stations, LineManners manners, std::uint64_t seed)
    : stations_(std::move(stations)), manners_(manners), random_(seed)
{
    if (manners_.isBabbling)
        agenda_.emplace(0ms, [this] { babble(); });
    if (manners_.noiseEvery > 0ms)
        agenda_.emplace(random_.between(Time(0), 2 * manners_.noiseEvery), [this] { makeNoise(); });
    if (manners_.secondMasterAsks > 0)
        agenda_.emplace(0ms, [this] { secondMasterSends(); });
}

Time ScanLine::run(Scan *scan, Time giveUp)
{
    QByteArray arrived;
    while (now_ < giveUp) {
        if (stopWhen && stopWhen(now_))
            scan->stop();
        const ScanStep step = scan->advance(now_, arrived);
        arrived.clear();
        if (step.isOver)
            break;
        if (step.open) {
            setting_ = *step.open;
            delivered_.clear();
            continue;
        }
        if (!step.send.isEmpty()) {
            ++requests_;
            put(kMaster, now_, step.send, setting_);
        }
        while (arrived.isEmpty() && nextEvent() <= step.wakeAt) {
            runEvent();
            arrived = takeDelivered();
        }
        if (arrived.isEmpty())
            now_ = std::max(now_, step.wakeAt);
    }
    return now_;
}

Time ScanLine::nextEvent() const
{
    Time next = chars_.empty() ? Time::max() : chars_.begin()->first;
    if (!agenda_.empty())
        next = std::min(next, agenda_.begin()->first);
    if (!delivered_.empty())
        next = std::min(next, delivered_.begin()->first);
    return next;
}

void ScanLine::runEvent()
{
    now_ = std::max(now_, nextEvent());
    while (!chars_.empty() && chars_.begin()->first <= now_) {
        const Char one = chars_.begin()->second;
        chars_.erase(chars_.begin());
        end(one);
    }
    while (!agenda_.empty() && agenda_.begin()->first <= now_) {
        const auto what = agenda_.begin()->second;
        agenda_.erase(agenda_.begin());
        what();
    }
}

QByteArray ScanLine::takeDelivered()
{
    QByteArray bytes;
    while (!delivered_.empty() && delivered_.begin()->first <= now_) {
        bytes.append(delivered_.begin()->second);
        delivered_.erase(delivered_.begin());
    }
    return bytes;
}

void ScanLine::put(int sender, Time at, const QByteArray &bytes, const ScanSetting &setting)
{
    const int number = ++lastMessage_;
    Message &message = messages_[number];
    message.sender = sender;
    message.bytes = bytes;
    message.setting = setting;
    message.left = bytes.size();
    for (int i = 0; i < bytes.size(); ++i) {
        Char added;
        added.start = at + setting.wire(i);
        added.end = at + setting.wire(i + 1);
        added.value = static_cast<std::uint8_t>(bytes.at(i));
        added.message = number;
        for (auto &[end, other] : chars_) {
            if (other.message == number || other.start >= added.end || added.start >= other.end)
                continue;
            other.isGarbled = true;
            added.isGarbled = true;
            messages_[other.message].isGarbled = true;
            messages_[other.message].destroyed.insert(number);
            message.isGarbled = true;
            message.destroyed.insert(other.message);
        }
        chars_.emplace(added.end, added);
    }
}

void ScanLine::end(const Char &one)
{
    hear(one);
    Message &message = messages_[one.message];
    if (--message.left > 0)
        return;
    endMessage(message);
    if (messages_.size() > 64)
        messages_.erase(messages_.begin());
}

void ScanLine::endMessage(const Message &message)
{
    const bool isStations = message.sender >= kFirstStation && message.sender < kNoiseSender;
    if (isStations && !message.isHeard) {
        ++hidden_[stations_[static_cast<std::size_t>(message.sender - kFirstStation)].address];
        for (const int number : message.destroyed) {
            if (messages_[number].sender == kMaster)
                ++hidden_[static_cast<unsigned char>(messages_[number].bytes.at(0))];
        }
    }
    if (!message.isGarbled && (message.sender == kMaster || message.sender == kSecondMaster))
        answer(message);
}

void ScanLine::answer(const Message &request)
{
    for (std::size_t i = 0; i < stations_.size(); ++i) {
        ScannedStation &station = stations_[i];
        if (static_cast<unsigned char>(request.bytes.at(0)) != station.address ||
            !understands(request.setting, station.setting))
            continue;
        const int function = static_cast<unsigned char>(request.bytes.at(1));
        station.value += station.isLive ? 1 : 0;
        QByteArray reply =
            station.exceptionCode != 0
                ? withCrc({station.address, function | 0x80, station.exceptionCode})
                : withCrc({station.address, function, 2, station.value >> 8 & 0xFF, station.value & 0xFF});
        if (random_.permille(station.damagedPermille)) {
            const int at = random_.below(reply.size());
            reply[at] =
                static_cast<char>(static_cast<unsigned char>(reply.at(at)) ^ (1 + random_.below(255)));
        }
        const Time start = now_ + std::max(station.delay, silenceAt(station.setting)) +
                           random_.between(Time::zero(), station.jitter);
        const int sender = kFirstStation + static_cast<int>(i);
        const ScanSetting setting = station.setting;
        agenda_.emplace(start, [this, sender, reply, setting] { put(sender, now_, reply, setting); });
    }
}

/// A character has ended: what of it reaches the master.
void ScanLine::hear(const Char &one)
{
    Message &message = messages_[one.message];
    std::uint8_t value = one.isGarbled ? random_.byte() : one.value;
    if (!manners_.hasEcho && (message.sender == kMaster || isMasterSending(one)))
        return; // the receiver is off meanwhile
    if (message.sender != kNoiseSender && !understands(message.setting, setting_)) {
        if (random_.permille(message.setting.baud == setting_.baud ? 700 : 400))
            return;
        value = random_.byte();
    }
    message.isHeard = true;
    deliver(now_ + (manners_.hasEcho ? manners_.echoDelay : Time(0)), value);
}

bool ScanLine::isMasterSending(const Char &one) const
{
    return std::any_of(messages_.begin(), messages_.end(), [&](const auto &message) {
        return message.second.sender == kMaster && message.second.left > 0 && message.first != one.message;
    });
}

void ScanLine::deliver(Time at, std::uint8_t value)
{
    if (manners_.batch > 0ms)
        at = Time((at.count() / manners_.batch.count() + 1) * manners_.batch.count());
    delivered_.emplace(at, static_cast<char>(value));
}

void ScanLine::makeNoise()
{
    QByteArray bytes(random_.between(1, 12), '\0');
    for (char &byte : bytes)
        byte = static_cast<char>(random_.byte());
    put(kNoiseSender, now_, bytes, setting_);
    agenda_.emplace(now_ + random_.between(Time(0), 2 * manners_.noiseEvery) + 1ms, [this] { makeNoise(); });
}

void ScanLine::babble()
{
    put(kNoiseSender, now_, QByteArray(1, static_cast<char>(random_.byte())), setting_);
    agenda_.emplace(now_ + setting_.wire(1), [this] { babble(); });
}

void ScanLine::secondMasterSends()
{
    const auto station = std::find_if(stations_.begin(), stations_.end(), [&](const ScannedStation &one) {
        return one.address == manners_.secondMasterAsks;
    });
    put(kSecondMaster, now_, withCrc({station->address, 3, 0, 0, 0, 1}), station->setting);
    agenda_.emplace(now_ + manners_.secondMasterEvery, [this] { secondMasterSends(); });
}

} // namespace plc::host
