#include "abilities.h"

#include "number_list.h"

#include <algorithm>

namespace plc::station {

namespace {

constexpr std::uint8_t kReadIdentification = 14; // of function 43
constexpr std::size_t kMostObjectBytes = 240;    // that fit into one reply
constexpr int kLastBasicObject = 2;
constexpr int kLastRegularObject = 6;
constexpr int kIndividual = 4; // the code of a request for one object

Bytes exception(std::uint8_t function, std::uint8_t code)
{
    return {static_cast<std::uint8_t>(function | kExceptionBit), code};
}

bool knows(const Abilities &abilities, std::uint8_t function)
{
    if (!abilities.functions.empty() && abilities.functions.count(function) == 0)
        return false;
    if (function == kReportServerId)
        return !abilities.serverId.empty();
    return function != kEncapsulated || !abilities.objects.empty();
}

/// MODBUS Application Protocol V1.1b3, 6.13: the identification, and whether the station runs.
Bytes serverId(const Abilities &abilities)
{
    Bytes reply{kReportServerId, static_cast<std::uint8_t>(abilities.serverId.size() + 1)};
    reply.insert(reply.end(), abilities.serverId.begin(), abilities.serverId.end());
    reply.push_back(0xFF);
    return reply;
}

int lastOf(int category)
{
    return category == 1 ? kLastBasicObject : category == 2 ? kLastRegularObject : 255;
}

/// 1 to 3, as far as the objects go.
int levelOf(const Abilities &abilities)
{
    const int last = abilities.objects.rbegin()->first;
    return last <= kLastBasicObject ? 1 : last <= kLastRegularObject ? 2 : 3;
}

/// MODBUS Application Protocol V1.1b3, 6.21.
Bytes identification(const Abilities &abilities, ByteView pdu)
{
    if (pdu.size != 4 || pdu[1] != kReadIdentification)
        return exception(pdu[0], kIllegalFunction);
    const int category = pdu[2];
    if (category < 1 || category > kIndividual)
        return exception(pdu[0], kIllegalDataValue);
    auto next = abilities.objects.find(pdu[3]);
    if (category == kIndividual && next == abilities.objects.end())
        return exception(pdu[0], kIllegalDataAddress);
    if (next == abilities.objects.end())
        next = abilities.objects.begin();
    constexpr int kAlsoIndividual = 0x80;
    Bytes objects;
    std::uint8_t count = 0;
    for (; next != abilities.objects.end() && next->first <= lastOf(category); ++next) {
        const std::string &text = next->second;
        if (count > 0 && (category == kIndividual || objects.size() + 2 + text.size() > kMostObjectBytes))
            break;
        objects.push_back(static_cast<std::uint8_t>(next->first));
        objects.push_back(static_cast<std::uint8_t>(text.size()));
        objects.insert(objects.end(), text.begin(), text.end());
        ++count;
    }
    const bool isCut =
        category != kIndividual && next != abilities.objects.end() && next->first <= lastOf(category);
    const bool goesOn = isCut || abilities.endlessObjects;
    Bytes reply{kEncapsulated,
                kReadIdentification,
                static_cast<std::uint8_t>(category),
                static_cast<std::uint8_t>(levelOf(abilities) | kAlsoIndividual),
                static_cast<std::uint8_t>(goesOn ? 0xFF : 0),
                static_cast<std::uint8_t>(isCut    ? next->first
                                          : goesOn ? (pdu[3] + 1) & 0xFF
                                                   : 0),
                count};
    reply.insert(reply.end(), objects.begin(), objects.end());
    return reply;
}

/// The items that a request is about.
struct Wanted
{
    Area area;
    int first;
    int count;
    bool isRead;
};

std::optional<Wanted> wantedBy(ByteView pdu)
{
    if (pdu.size < 5)
        return std::nullopt;
    const int first = getBe16(pdu, 1);
    const int number = getBe16(pdu, 3);
    switch (pdu[0]) {
    case kReadCoils:
        return Wanted{Area::Coils, first, number, true};
    case kReadDiscreteInputs:
        return Wanted{Area::DiscreteInputs, first, number, true};
    case kReadHoldingRegisters:
        return Wanted{Area::HoldingRegisters, first, number, true};
    case kReadInputRegisters:
        return Wanted{Area::InputRegisters, first, number, true};
    case kWriteSingleCoil:
        return Wanted{Area::Coils, first, 1, false};
    case kWriteMultipleCoils:
        return Wanted{Area::Coils, first, number, false};
    case kWriteSingleRegister:
    case kMaskWriteRegister:
        return Wanted{Area::HoldingRegisters, first, 1, false};
    case kWriteMultipleRegisters:
        return Wanted{Area::HoldingRegisters, first, number, false};
    default:
        return std::nullopt;
    }
}

int presentIn(const std::vector<std::pair<int, int>> &present, const Wanted &wanted)
{
    int count = 0;
    for (int item = wanted.first; item < wanted.first + wanted.count; ++item)
        count +=
            std::any_of(present.begin(), present.end(),
                        [item](const auto &range) { return range.first <= item && item <= range.second; })
                ? 1
                : 0;
    return count;
}

} // namespace

std::string addPresent(const std::string &text, Abilities *abilities)
{
    const std::vector<std::string> parts = splitText(text, ':');
    const std::optional<Area> area = areaFromText(parts.front());
    const std::vector<std::string> ends = splitText(parts.size() == 2 ? parts[1] : "", '-');
    int first = 0;
    int last = 0;
    if (!area || ends.size() > 2 || !parseNumber(ends.front(), 0, kWholeArea - 1, &first) ||
        !parseNumber(ends.back(), first, kWholeArea - 1, &last))
        return "'" + text + "' is no area with its first and last item, as 4x:100-163";
    abilities->present[*area].emplace_back(first, last);
    return {};
}

std::string addObject(const std::string &text, Abilities *abilities)
{
    constexpr int kLastObject = 255;
    const std::size_t mark = text.find('=');
    int number = 0;
    if (mark == std::string::npos || !parseNumber(text.substr(0, mark), 0, kLastObject, &number) ||
        text.size() - mark - 1 > kMostObjectBytes)
        return "'" + text + "' is no number from 0 to 255 with a text of up to 240 bytes, as 1=PUMP";
    abilities->objects[number] = text.substr(mark + 1);
    return {};
}

std::optional<Bytes> answerByAbilities(const Abilities &abilities, ByteView pdu)
{
    if (!knows(abilities, pdu[0]))
        return exception(pdu[0], kIllegalFunction);
    if (pdu[0] == kReportServerId)
        return pdu.size == 1 ? serverId(abilities) : exception(pdu[0], kIllegalDataValue);
    if (pdu[0] == kEncapsulated)
        return identification(abilities, pdu);
    const std::optional<Wanted> wanted = wantedBy(pdu);
    if (!wanted)
        return std::nullopt;
    const int most = isBitArea(wanted->area) ? abilities.mostBits : abilities.mostRegisters;
    if (wanted->isRead && wanted->count > most)
        return exception(pdu[0], kIllegalDataValue);
    const auto present = abilities.present.find(wanted->area);
    if (present == abilities.present.end())
        return std::nullopt;
    const int there = presentIn(present->second, *wanted);
    if (there == wanted->count)
        return std::nullopt;
    if (abilities.lacking == Lacking::ReadsZeros && wanted->isRead && there > 0)
        return std::nullopt;
    return abilities.lacking == Lacking::IsSilent ? Bytes() : exception(pdu[0], kIllegalDataAddress);
}

} // namespace plc::station
