#include "faults.h"

#include "modbus_codes.h"

#include <utility>

namespace plc::station {

const std::array<FaultName, kFaultCount> kFaultNames = {{
    {Fault::Drop, "drop", "replies that are not sent"},
    {Fault::Cut, "cut", "replies that stop and are completed after --cut-pause"},
    {Fault::CutForever, "cut-forever", "replies that stop and are never completed"},
    {Fault::BadCrc, "bad-crc", "replies with a wrong CRC"},
    {Fault::SwapCrc, "swap-crc", "replies with the two CRC bytes exchanged"},
    {Fault::NoiseBefore, "noise-before", "replies with random bytes in front"},
    {Fault::NoiseAfter, "noise-after", "replies with random bytes behind"},
    {Fault::Foreign, "foreign", "replies with another station's number"},
    {Fault::Exception, "exception", "requests refused with --exception-code"},
    {Fault::Twice, "twice", "replies sent twice, back to back"},
    {Fault::Late, "late", "replies held back for --late-by"},
}};

namespace {

constexpr std::size_t kMaxNoise = 8;

void swapLastTwo(Bytes *bytes)
{
    std::swap((*bytes)[bytes->size() - 1], (*bytes)[bytes->size() - 2]);
}

Bytes slice(const Bytes &bytes, std::size_t from, std::size_t to)
{
    return Bytes(bytes.begin() + static_cast<std::ptrdiff_t>(from),
                 bytes.begin() + static_cast<std::ptrdiff_t>(to));
}

} // namespace

FaultPlan::FaultPlan(const FaultSettings &settings, CrcOrder replyOrder)
    : settings_(settings), order_(replyOrder), generator_(settings.seed)
{}

std::optional<std::uint8_t> FaultPlan::refusal()
{
    if (!draw(Fault::Exception))
        return std::nullopt;
    note(Fault::Exception);
    return settings_.exceptionCode;
}

std::vector<Piece> FaultPlan::spoil(const Bytes &reply)
{
    // All are drawn whatever the outcome of the others, so that the share of one does not depend on
    // another's.
    const bool drop = draw(Fault::Drop);
    const bool cut = draw(Fault::Cut);
    const bool cutForever = draw(Fault::CutForever);
    const bool badCrc = draw(Fault::BadCrc);
    const bool swapCrc = draw(Fault::SwapCrc);
    const bool noiseBefore = draw(Fault::NoiseBefore);
    const bool noiseAfter = draw(Fault::NoiseAfter);
    const bool foreign = draw(Fault::Foreign);
    const bool twice = draw(Fault::Twice);
    const bool late = draw(Fault::Late);
    if (drop) {
        note(Fault::Drop);
        return {};
    }

    Bytes sent = reply;
    damage(&sent, foreign, badCrc, swapCrc, cutForever);
    if (twice) {
        note(Fault::Twice);
        const Bytes once = sent;
        sent.insert(sent.end(), once.begin(), once.end());
    }
    if (noiseBefore) {
        note(Fault::NoiseBefore);
        const Bytes bytes = noise();
        sent.insert(sent.begin(), bytes.begin(), bytes.end());
    }
    if (noiseAfter) {
        note(Fault::NoiseAfter);
        const Bytes bytes = noise();
        sent.insert(sent.end(), bytes.begin(), bytes.end());
    }

    std::chrono::nanoseconds quiet{0};
    if (late) {
        note(Fault::Late);
        quiet = settings_.lateBy;
    }
    if (!cut || sent.size() < 2)
        return {{quiet, sent}};
    note(Fault::Cut);
    const std::size_t at = 1 + below(sent.size() - 1);
    return {{quiet, slice(sent, 0, at)}, {settings_.cutPause, slice(sent, at, sent.size())}};
}

void FaultPlan::damage(Bytes *reply, bool foreign, bool badCrc, bool swapCrc, bool cutForever)
{
    if (foreign) {
        note(Fault::Foreign);
        reply->resize(reply->size() - 2);
        reply->front() = static_cast<std::uint8_t>(reply->front() % kLastStation + 1);
        appendCrc(reply, order_);
    }
    if (badCrc) {
        note(Fault::BadCrc);
        reply->back() = static_cast<std::uint8_t>(reply->back() ^ (1 + below(255)));
    }
    // Two equal bytes cannot be exchanged: such a reply would stay good.
    if (swapCrc && reply->back() != (*reply)[reply->size() - 2]) {
        note(Fault::SwapCrc);
        swapLastTwo(reply);
    }
    if (cutForever) {
        note(Fault::CutForever);
        reply->resize(1 + below(reply->size() - 1));
    }
}

/// The standard's distributions may differ from one library to the next; plain arithmetic does not.
bool FaultPlan::draw(Fault fault)
{
    constexpr double kSteps = 1e6;
    return static_cast<double>(below(1000000)) < settings_.share(fault) / 100 * kSteps;
}

std::size_t FaultPlan::below(std::size_t limit)
{
    return static_cast<std::size_t>(generator_() % limit);
}

Bytes FaultPlan::noise()
{
    Bytes bytes(1 + below(kMaxNoise));
    for (std::uint8_t &byte : bytes)
        byte = static_cast<std::uint8_t>(below(256));
    return bytes;
}

} // namespace plc::station
