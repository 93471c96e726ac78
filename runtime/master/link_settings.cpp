#include "runtime/master/link_settings.h"

#include "runtime/line/failure.h"

namespace plc::runtime {

namespace {

struct OptionName
{
    quint32 mask;
    const char *name;
    const char *meaning;
};

constexpr OptionName kOptions[] = {
    {kOptionOneBased, "one-based", "addresses are typed counting from 1"},
    {kOptionRegisterAsBlock, "fc16-single", "a single 4x register is written with function 16 instead of 6"},
    {kOptionBitFromMirror, "bit-from-mirror",
     "4x_bit is written from the last known register value, without reading it first"},
    {kOptionSingleRegisters, "single-registers", "4x registers are written one a request"},
    {kOptionSingleCoils, "single-coils", "coils are written one a request"},
    {kOptionSwapRequestCrc, "crc-swap-requests", "CRC of requests high byte first"},
    {kOptionSwapReplyCrc, "crc-swap-replies", "CRC of replies high byte first"},
    {kOptionNoReplyToSingle, "no-reply-single", "stations do not answer writes to 4x_single"},
    {kOptionNoReplyToBlock, "no-reply-block", "stations do not answer writes to 4x_block"},
    {kOptionNoBitPacking, "no-bit-packing", "coils and discrete inputs are read one a request"},
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
            return option.mask;
        names += std::string(names.empty() ? "" : ", ") + option.name;
    }
    throw Failure(FailureKind::Usage, "--option '" + name + "' is unknown; options are " + names);
}

} // namespace plc::runtime
