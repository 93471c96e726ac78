#include "host/option_words.h"

namespace plc::host {

namespace {

struct Word
{
    const char *setting;
    const char *option;
};

constexpr Word kWords[] = {
    {"setting 'maxBlock'", "--max-block"},
    {"setting 'driverOptions'", "--option"},
    {"setting 'driverFile'", "--driver PATH"},
    {"setting 'parity'", "--parity"},
    {"setting 'stopBits'", "--stop-bits"},
    {"setting 'anyRate'", "--any-rate"},
    {"setting 'rs485'", "--rs485"},
    {"setting 'realTime'", "--realtime"},
    {"setting 'timeoutMs'", "--timeout"},
    {"setting 'echo'", "--echo"},
    {"setting 'readOnly'", "--read-only"},
};

} // namespace

std::string inOptions(std::string text)
{
    for (const Word &word : kWords) {
        const std::string setting = word.setting;
        for (std::size_t at = text.find(setting); at != std::string::npos; at = text.find(setting, at))
            text.replace(at, setting.size(), word.option);
    }
    return text;
}

} // namespace plc::host
