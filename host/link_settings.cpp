#include "link_settings.h"

#include "failure.h"

namespace plc::host {

namespace {

struct OptionName
{
    int bit;
    const char *name;
    const char *meaning;
};

constexpr OptionName kOptions[] = {
    {0, "one-based", "addresses are typed counting from 1"},
    {1, "fc16-single", "a single 4x register is written with function 16 instead of 6"},
    {4, "bit-from-mirror", "4x_bit is written from the last known register value, without reading it first"},
    {5, "single-registers", "4x registers are written one a request"},
    {6, "single-coils", "coils are written one a request"},
    {7, "crc-swap-requests", "CRC of requests high byte first"},
    {8, "crc-swap-replies", "CRC of replies high byte first"},
    {9, "no-reply-single", "stations do not answer writes to 4x_single"},
    {10, "no-reply-block", "stations do not answer writes to 4x_block"},
    {11, "no-bit-packing", "coils and discrete inputs are read one a request"},
};

} // namespace

std::string optionHelp()
{
    std::string help;
    for (const OptionName &option : kOptions) {
        std::string name = option.name;
        name.resize(18, ' ');
        help += "  " + name + option.meaning + "\n";
    }
    return help;
}

quint32 optionMask(const std::string &name)
{
    std::string names;
    for (const OptionName &option : kOptions) {
        if (name == option.name)
            return 1u << option.bit;
        names += std::string(names.empty() ? "" : ", ") + option.name;
    }
    throw Failure(kExitUsage, "--option '" + name + "' is unknown; options are " + names);
}

} // namespace plc::host
