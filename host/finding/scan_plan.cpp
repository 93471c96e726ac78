#include "host/finding/scan_plan.h"

#include <algorithm>
#include <iterator>

#include "runtime/line/line_timing.h"

namespace plc::host {

namespace {

/// Rates as they are met, the most frequent first.
constexpr int kLikelyRates[] = {9600, 19200, 38400, 115200, 57600};

/// How unlikely a rate is; those that are not listed come last.
int rankOf(int baud)
{
    const auto *const at = std::find(std::begin(kLikelyRates), std::end(kLikelyRates), baud);
    return static_cast<int>(std::distance(std::begin(kLikelyRates), at));
}

/// Odd parity is offered by most devices and used by few: behind all rates with the other two.
int rankOf(Parity parity)
{
    switch (parity) {
    case Parity::Even:
        return 0;
    case Parity::None:
        return 1;
    case Parity::Odd:
        break;
    }
    return 10;
}

int rankOf(const ScanSetting &setting)
{
    return 2 * rankOf(setting.baud) + rankOf(setting.parity);
}

char letterOf(Parity parity)
{
    switch (parity) {
    case Parity::Even:
        return 'E';
    case Parity::Odd:
        return 'O';
    case Parity::None:
        break;
    }
    return 'N';
}

} // namespace

Time ScanSetting::wire(int bytes) const
{
    const std::int64_t bits = static_cast<std::int64_t>(bytes) * bitsPerCharacter();
    return Time((bits * 1000000000 + baud - 1) / baud);
}

std::string ScanSetting::text() const
{
    return std::to_string(baud) + " 8" + letterOf(parity) + std::to_string(stopBits);
}

QByteArray ScanPlan::request(int station) const
{
    constexpr int kPlaces = 1;
    QByteArray frame;
    for (const int byte : {station, function, address >> 8, address & 0xFF, 0, kPlaces})
        frame.append(static_cast<char>(byte));
    const std::uint16_t crc = crcOf(frame.constData(), frame.size());
    frame.append(static_cast<char>(crc & 0xFF));
    frame.append(static_cast<char>(crc >> 8));
    return frame;
}

int ScanPlan::replyDataBytes() const
{
    return function == kReadCoils || function == kReadDiscreteInputs ? 1 : 2;
}

std::vector<ScanSetting> likelyFirst(const std::vector<int> &bauds, const std::vector<Parity> &parities,
                                     const std::vector<int> &stopBits)
{
    std::vector<ScanSetting> settings;
    for (const int baud : bauds) {
        for (const Parity parity : parities) {
            if (stopBits.empty())
                settings.push_back({baud, parity, parity == Parity::None ? 2 : 1});
            for (const int bits : stopBits)
                settings.push_back({baud, parity, bits});
        }
    }
    std::stable_sort(settings.begin(), settings.end(), [](const ScanSetting &left, const ScanSetting &right) {
        return rankOf(left) < rankOf(right);
    });
    return settings;
}

} // namespace plc::host
