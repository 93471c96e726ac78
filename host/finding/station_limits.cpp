#include "host/finding/station_limits.h"

#include <algorithm>

#include "host/finding/reading.h"
#include "runtime/line/exception_codes.h"
#include "runtime/line/rtu_layout.h"
#include "runtime/line/setting_limits.h"

namespace plc::host {

namespace {

constexpr std::array<int, 7> kReading{
    3, 4, 1, 2, kFunctionEncapsulated, kFunctionServerId, kFunctionDiagnostics};
constexpr int kReads = 4; ///< of kReading, in front
constexpr std::array<int, 2> kRegisterFunctions{kReadHoldingRegisters, kReadInputRegisters};
constexpr std::array<int, 2> kBitFunctions{kReadCoils, kReadDiscreteInputs};

constexpr Time kFirstPause = std::chrono::milliseconds(4);
constexpr Time kLongestPause = std::chrono::milliseconds(2 * kPauseMsLimits.most);
constexpr Time kPauseGrain = std::chrono::microseconds(500);
/// Of this many tries with one pause, as many must be answered. One lost reply is no proof.
constexpr int kTries = 3;
constexpr int kGoodTries = 2;
constexpr int kTriesOfSilence = 5; ///< with the silence of the line alone, all of which must be answered
/// Where a lacking register is looked for behind those that are known, counted from the last one down.
constexpr int kCoarseProbes = 33;
constexpr int kCoarseStride = 2048;

Knowledge knowledgeOf(const Answer &answer)
{
    if (answer.isReply())
        return Knowledge::Known;
    if (answer.kind != AnswerKind::Exception)
        return Knowledge::NoAnswer;
    return answer.exceptionCode == runtime::kExceptionFunction ? Knowledge::Unknown : Knowledge::Refuses;
}

} // namespace

LimitsFinder::LimitsFinder(const LimitsWish &wish) : wish_(wish)
{
    result_.station = wish.station;
    for (const int function : kReading)
        result_.functions[function] = Knowledge::NotAsked;
}

Question LimitsFinder::question(const QByteArray &frame) const
{
    Question question;
    question.frame = frame;
    question.retries = wish_.retries;
    question.pause = pause_;
    return question;
}

Question LimitsFinder::read(int function, int address, int count) const
{
    return question(readFrame(wish_.station, function, address, count, result_.requestCrcHighFirst));
}

/// A read that is answered.
Question LimitsFinder::sample() const
{
    return read(sampleFunction_, wish_.address, 1);
}

std::optional<Question> LimitsFinder::next()
{
    const bool highFirst = result_.requestCrcHighFirst;
    switch (stage_) {
    case Stage::First:
        return read(kReading.at(static_cast<std::size_t>(function_)), wish_.address, 1);
    case Stage::Pause: {
        Question question = sample();
        question.pause = isPrimed_ ? triedPause_ : Time(kLongestPause);
        question.retries = isPrimed_ ? 0 : wish_.retries;
        if (!isPrimed_ && triedPause_ == Time::zero())
            question.pause = Time::zero();
        return question;
    }
    case Stage::Functions:
        switch (kReading.at(static_cast<std::size_t>(function_))) {
        case kFunctionEncapsulated:
            return question(
                frameOf({wish_.station, kFunctionEncapsulated, kReadIdentification, 1, 0}, highFirst));
        case kFunctionServerId:
            return question(frameOf({wish_.station, kFunctionServerId}, highFirst));
        case kFunctionDiagnostics:
            return question(frameOf({wish_.station, kFunctionDiagnostics, 0, 0, 0xA5, 0x37}, highFirst));
        default:
            return read(kReading.at(static_cast<std::size_t>(function_)), wish_.address, 1);
        }
    case Stage::Registers:
        return read(result_.registers.function, wish_.address, tried_);
    case Stage::BehindRegisters:
        return read(result_.registers.function, wish_.address + result_.registers.most, 1);
    case Stage::Bits:
        return read(result_.bits.function, wish_.address, tried_);
    case Stage::BehindBits:
        return read(result_.bits.function, wish_.address + result_.bits.most, 1);
    case Stage::Border:
        return read(result_.registers.function, tried_, 1);
    case Stage::Gap:
        return read(result_.registers.function, low_, 2);
    case Stage::Samples:
        return sample();
    case Stage::Over:
        break;
    }
    return std::nullopt;
}

void LimitsFinder::take(const Answer &answer)
{
    if (answer.isAnswer())
        result_.replyCrcHighFirst = answer.crcHighFirst;
    switch (stage_) {
    case Stage::First:
        takeFirst(answer);
        break;
    case Stage::Pause:
        takePause(answer);
        break;
    case Stage::Functions:
        takeFunction(answer);
        break;
    case Stage::Registers:
        takeBlock(answer, &result_.registers, kMostReadRegisters);
        break;
    case Stage::BehindRegisters:
        takeBehind(answer, &result_.registers);
        break;
    case Stage::Bits:
        takeBlock(answer, &result_.bits, kMostReadBits);
        break;
    case Stage::BehindBits:
        takeBehind(answer, &result_.bits);
        break;
    case Stage::Border:
        takeBorder(answer);
        break;
    case Stage::Gap:
        if (answer.isAnswer())
            result_.gaps = answer.isReply() ? GapReads::Answered : GapReads::Refused;
        else
            result_.gaps = GapReads::Refused;
        begin(Stage::Samples);
        break;
    case Stage::Samples:
        if (answer.isAnswer() && answer.attempts == 1)
            result_.replyTimes.add(answer.replyTime);
        if (++samples_ >= wish_.samples)
            stage_ = Stage::Over;
        break;
    case Stage::Over:
        break;
    }
}

/// Looks for a read that is answered, best with values; first with the usual order of the CRC.
void LimitsFinder::takeFirst(const Answer &answer)
{
    if (answer.isAnswer() && (sampleFunction_ == 0 || (answer.isReply() && !sampleIsReply_))) {
        sampleFunction_ = kReading.at(static_cast<std::size_t>(function_));
        sampleIsReply_ = answer.isReply();
    }
    if (sampleIsReply_ || (sampleFunction_ != 0 && function_ + 1 == kReads)) {
        result_.isThere = true;
        stage_ = Stage::Pause;
        return;
    }
    if (++function_ < kReads)
        return;
    function_ = 0;
    if (result_.requestCrcHighFirst) {
        result_.requestCrcHighFirst = false;
        stage_ = Stage::Over;
        return;
    }
    result_.requestCrcHighFirst = true;
}

/// Each try takes two requests: one that is surely answered, and another with the pause behind it.
void LimitsFinder::takePause(const Answer &answer)
{
    if (!isPrimed_) {
        if (!answer.isAnswer()) {
            // It has gone, or the line is bad: nothing is told of the pause.
            pause_ = std::max(highPause_, pause_);
            begin(Stage::Functions);
            return;
        }
        isPrimed_ = true;
        return;
    }
    isPrimed_ = false;
    ++(answer.isAnswer() ? goodTries_ : badTries_);
    if (triedPause_ == Time::zero() && lowPause_ == Time::zero() && highPause_ == Time::zero()) {
        if (badTries_ > kTriesOfSilence - 1 - kGoodTries)
            passPause(false);
        else if (goodTries_ >= kGoodTries + (badTries_ > 0 ? 1 : 0))
            passPause(true);
        return;
    }
    if (goodTries_ >= kGoodTries)
        passPause(true);
    else if (badTries_ > kTries - kGoodTries)
        passPause(false);
}

void LimitsFinder::passPause(bool isEnough)
{
    goodTries_ = 0;
    badTries_ = 0;
    if (isEnough && triedPause_ == Time::zero()) {
        result_.leastPause = Time::zero();
        begin(Stage::Functions);
        return;
    }
    (isEnough ? highPause_ : lowPause_) = triedPause_;
    if (highPause_ == Time::zero()) {
        triedPause_ = triedPause_ == Time::zero() ? Time(kFirstPause) : triedPause_ * 2;
        if (triedPause_ > kLongestPause) {
            pause_ = kLongestPause;
            begin(Stage::Functions);
        }
        return;
    }
    if (highPause_ - lowPause_ > kPauseGrain) {
        triedPause_ = lowPause_ + (highPause_ - lowPause_) / 2;
        return;
    }
    result_.leastPause = highPause_;
    // A little more, so that what comes is not decided by chance.
    pause_ = highPause_ + highPause_ / 4 + std::chrono::milliseconds(1);
    begin(Stage::Functions);
}

void LimitsFinder::takeFunction(const Answer &answer)
{
    result_.functions[kReading.at(static_cast<std::size_t>(function_))] = knowledgeOf(answer);
    if (++function_ == static_cast<int>(kReading.size()))
        begin(Stage::Registers);
}

bool LimitsFinder::isUsable(int function) const
{
    return result_.functions.at(function) == Knowledge::Known;
}

void LimitsFinder::begin(Stage stage)
{
    stage_ = stage;
    switch (stage) {
    case Stage::Functions:
        function_ = 0;
        break;
    case Stage::Registers:
        beginBlock(kRegisterFunctions, &result_.registers, kMostReadRegisters);
        if (result_.registers.function == 0)
            begin(Stage::Bits);
        break;
    case Stage::Bits:
        beginBlock(kBitFunctions, &result_.bits, kMostReadBits);
        if (result_.bits.function == 0)
            begin(Stage::Border);
        break;
    case Stage::Border:
        beginBorder();
        break;
    case Stage::Samples:
        if (wish_.samples == 0)
            stage_ = Stage::Over;
        break;
    default:
        break;
    }
}

void LimitsFinder::beginBlock(const std::array<int, 2> &functions, LargestBlock *block, int most)
{
    for (const int function : functions) {
        if (block->function == 0 && isUsable(function))
            block->function = function;
    }
    // The largest first: most stations have no limit of their own.
    low_ = 1;
    high_ = std::min(most, kAddresses - wish_.address) + 1;
    tried_ = high_ - 1;
}

void LimitsFinder::takeBlock(const Answer &answer, LargestBlock *block, int most)
{
    (answer.isReply() ? low_ : high_) = tried_;
    if (high_ - low_ > 1) {
        tried_ = low_ + (high_ - low_) / 2;
        return;
    }
    block->most = low_;
    const bool isWhole = low_ == most;
    block->isLimit = isWhole;
    const bool isRegisters = block == &result_.registers;
    if (isWhole || wish_.address + low_ >= kAddresses)
        begin(isRegisters ? Stage::Bits : Stage::Border);
    else
        stage_ = isRegisters ? Stage::BehindRegisters : Stage::BehindBits;
}

void LimitsFinder::takeBehind(const Answer &answer, LargestBlock *block)
{
    block->isLimit = answer.isReply();
    begin(block == &result_.registers ? Stage::Bits : Stage::Border);
}

/// A register that is there, and a lacking one behind it.
void LimitsFinder::beginBorder()
{
    const LargestBlock &block = result_.registers;
    if (block.function == 0) {
        begin(Stage::Samples);
        return;
    }
    low_ = wish_.address + block.most - 1;
    high_ = block.isLimit ? 0 : low_ + 1;
    if (high_ > 0 && high_ < kAddresses) {
        result_.gapAt = high_;
        // With a limit of one register nothing can be read over.
        stage_ = Stage::Gap;
        return;
    }
    high_ = 0;
    coarse_ = 0;
    tried_ = kAddresses - 1;
}

void LimitsFinder::takeBorder(const Answer &answer)
{
    if (answer.isReply())
        low_ = std::max(low_, high_ > 0 ? tried_ : low_);
    else
        high_ = tried_;
    if (high_ == 0) {
        // All that was probed is there.
        ++coarse_;
        tried_ = kAddresses - 1 - coarse_ * kCoarseStride;
        if (coarse_ >= kCoarseProbes || tried_ <= low_)
            begin(Stage::Samples);
        return;
    }
    if (high_ - low_ > 1) {
        tried_ = low_ + (high_ - low_) / 2;
        return;
    }
    result_.gapAt = high_;
    if (result_.registers.most < 2)
        begin(Stage::Samples);
    else
        stage_ = Stage::Gap;
}

} // namespace plc::host
