#include "fuzz/support/runtime.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <new>

#include "fuzz/support/claim.h"
#include "support/hex.h"

namespace plc::fuzz {

namespace {

constexpr std::size_t kOverrideWord = 50500;

Runtime *current = nullptr;

std::vector<unsigned short> &words()
{
    static std::vector<unsigned short> area(kOverrideWord + 1, 0);
    return area;
}

void renewDriver()
{
    PLC_driver.~Communication_Protocol();
    new (&PLC_driver) Communication_Protocol();
    FlashLocalRegister(nullptr, nullptr, nullptr);
}

bool isFree(QMutex &mutex)
{
    if (!mutex.tryLock())
        return false;
    mutex.unlock();
    return true;
}

void onResult(int callbackArg, int hostId, int hostSubId, int outcome)
{
    claim(!isFree(PLC_driver.listMutex), "the completion callback runs with the list mutex held");
    claim(isFree(PLC_driver.cacheMutex), "the completion callback may read values");
    current->reports.push_back({callbackArg, hostId, hostSubId, outcome});
}

void onFailure(QList<RW_VAR> *list, int hostId, int one)
{
    claim(list && list->isEmpty() && one == 1, "the failure callback gets an empty list and 1");
    current->failures.push_back(hostId);
}

bool isBlank(ushort unit)
{
    return unit == ' ' || (unit >= '\t' && unit <= '\r');
}

} // namespace

Runtime::Runtime()
{
    renewDriver();
    current = this;
    std::memset(&info, 0, sizeof info);
    info.maxBlock = 100;
    info.stationMode = 1;
    info.writeMode = 2;
    info.callbackArg = 77;
    words()[kOverrideWord] = 0;
    applySettings();
    FlashLocalRegister(nullptr, words().data(), nullptr);
    RegistCallBackFuncIntf(onResult, onFailure);
}

Runtime::~Runtime()
{
    renewDriver();
    current = nullptr;
}

void Runtime::overrideStation(unsigned short word)
{
    words()[kOverrideWord] = word;
}

void claimLocksFree()
{
    claim(isFree(PLC_driver.listMutex), "the list mutex is free after a call");
    claim(isFree(PLC_driver.cacheMutex), "the mutex of the mirror is free after a call");
    claim(isFree(PLC_driver.stationMutex), "the mutex of the stations is free after a call");
}

bool hasGoodCrc(const QByteArray &frame, bool highFirst)
{
    if (frame.size() < 3)
        return false;
    QByteArray again = frame.left(frame.size() - 2);
    appendCrc(&again, highFirst);
    return again == frame;
}

void appendCrc(QByteArray *frame, bool highFirst)
{
    const quint16 crc = test::witnessCrc(*frame);
    const char low = static_cast<char>(crc & 0xFF);
    const char high = static_cast<char>(crc >> 8);
    frame->append(highFirst ? high : low);
    frame->append(highFirst ? low : high);
}

bool parseDecimal(const QString &text, int *value)
{
    *value = 0;
    int from = 0;
    int end = text.size();
    while (from < end && isBlank(text.at(from).unicode()))
        ++from;
    while (end > from && isBlank(text.at(end - 1).unicode()))
        --end;
    bool negative = false;
    if (from < end && (text.at(from) == QLatin1Char('-') || text.at(from) == QLatin1Char('+')))
        negative = text.at(from++) == QLatin1Char('-');
    if (from == end)
        return false;
    qint64 number = 0;
    for (; from < end; ++from) {
        const ushort unit = text.at(from).unicode();
        if (unit < '0' || unit > '9')
            return false;
        number = std::min<qint64>(number * 10 + (unit - '0'), qint64(INT_MAX) + 2);
    }
    if (negative)
        number = -number;
    if (number < INT_MIN || number > INT_MAX)
        return false;
    *value = static_cast<int>(number);
    return true;
}

bool isPlainText(const QString &text)
{
    for (const QChar letter : text) {
        if (letter.unicode() == 0 || letter.unicode() >= 0x80)
            return false;
    }
    return true;
}

} // namespace plc::fuzz
