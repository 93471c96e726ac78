#include "commands.h"

#include "modbus_codes.h"
#include "number_list.h"
#include "standard_output.h"

#include <cerrno>
#include <iostream>
#include <sstream>
#include <vector>

#include <unistd.h>

namespace plc::station {

namespace {

using Words = std::vector<std::string>;

constexpr int kLastCode = 255;

Words wordsOf(const std::string &line)
{
    std::istringstream stream(line);
    Words words;
    for (std::string word; stream >> word;)
        words.push_back(word);
    return words;
}

struct Place
{
    Area area = Area::HoldingRegisters;
    int address = 0;
};

bool parsePlace(const std::string &text, Place *place)
{
    const std::vector<std::string> parts = splitText(text, ':');
    const std::optional<Area> area = areaFromText(parts.front());
    if (!area || parts.size() != 2 || !parseNumber(parts[1], 0, kWholeArea - 1, &place->address))
        return false;
    place->area = *area;
    return true;
}

/// A command that sets how the station behaves.
CommandReply behave(const Words &words, Station *station)
{
    struct Row
    {
        const char *word;
        Manner manner;
        bool hasCode;
    };
    constexpr Row kRows[] = {{"dead", Manner::Dead, false},
                             {"alive", Manner::Answers, false},
                             {"refuse", Manner::Refuses, true},
                             {"refuse-writes", Manner::RefusesWrites, true}};
    for (const Row &row : kRows) {
        int code = kIllegalFunction;
        if (words[0] != row.word)
            continue;
        if (words.size() > (row.hasCode ? 3u : 2u))
            return {{}, "too many words"};
        if (words.size() == 3 && !parseNumber(words[2], 1, kLastCode, &code))
            return {{}, "'" + words[2] + "' is no exception code (1 to 255)"};
        station->setManner(row.manner, static_cast<std::uint8_t>(code));
        return {};
    }
    return {{},
            "there is no command '" + words[0] +
                "'; commands are dead, alive, refuse, refuse-writes, set, get"};
}

CommandReply set(const Words &words, const Place &place, Station *station)
{
    const int most = isBitArea(place.area) ? 1 : 65535;
    const int least = isBitArea(place.area) ? 0 : -32768;
    std::vector<std::uint16_t> values;
    for (std::size_t i = 3; i < words.size(); ++i) {
        int value = 0;
        if (!parseNumber(words[i], least, most, &value))
            return {{},
                    "'" + words[i] + "' is no value from " + std::to_string(least) + " to " +
                        std::to_string(most)};
        values.push_back(static_cast<std::uint16_t>(value));
    }
    if (values.empty())
        return {{}, "no value is given"};
    if (!station->registers().write(place.area, place.address, values))
        return {{}, "the values go beyond the end of the area"};
    return {};
}

CommandReply get(const Words &words, const Place &place, const Station &station)
{
    int count = 1;
    if (words.size() > 4 || (words.size() == 4 && !parseNumber(words[3], 1, kWholeArea, &count)))
        return {{}, "behind the place stands how many values are wanted, or nothing"};
    const auto values = station.registers().read(place.area, place.address, count);
    if (!values)
        return {{}, "the values go beyond the end of the area"};
    std::string output = words[1] + ' ' + words[2];
    for (std::uint16_t value : *values)
        output += ' ' + std::to_string(value);
    return {output, {}};
}

} // namespace

CommandReply runCommand(const std::string &line, StationBus *bus)
{
    const Words words = wordsOf(line);
    if (words.empty())
        return {};
    int number = 0;
    Station *station = nullptr;
    if (words.size() >= 2 && parseNumber(words[1], 1, 255, &number))
        station = bus->station(number);
    if (station == nullptr)
        return {{}, "behind '" + words[0] + "' stands the number of a station that is here"};
    if (words[0] != "set" && words[0] != "get")
        return behave(words, station);
    Place place;
    if (words.size() < 3 || !parsePlace(words[2], &place))
        return {{}, "behind the station stands a place, as 4x:100"};
    return words[0] == "set" ? set(words, place, station) : get(words, place, *station);
}

void CommandInput::takeInput()
{
    constexpr std::size_t kLongestLine = 4096;
    char chunk[4096];
    const ssize_t got = read(descriptor_, chunk, sizeof chunk);
    if (got < 0 && (errno == EINTR || errno == EAGAIN))
        return;
    if (got <= 0) {
        descriptor_ = -1;
        return;
    }
    pending_.append(chunk, static_cast<std::size_t>(got));
    for (std::size_t end = pending_.find('\n'); end != std::string::npos && unwritten_.empty();
         end = pending_.find('\n')) {
        const CommandReply reply = runCommand(pending_.substr(0, end), bus_);
        if (!reply.output.empty())
            unwritten_ = print(reply.output + "\n");
        if (!reply.error.empty())
            std::cerr << "plcstation: '" << pending_.substr(0, end) << "': " << reply.error << std::endl;
        pending_.erase(0, end + 1);
    }
    if (pending_.size() > kLongestLine) {
        std::cerr << "plcstation: a command of more than " << kLongestLine << " bytes is passed over"
                  << std::endl;
        pending_.clear();
    }
}

} // namespace plc::station
