#include "host/project/setting_names.h"

#include <algorithm>
#include <iterator>
#include <sstream>

#include "core/options.h"
#include "runtime/line/failure.h"
#include "runtime/line/setting_limits.h"

namespace plc::host {

namespace {

constexpr std::size_t kHelpColumn = 20; ///< in which the meaning of a name begins

constexpr char kRtsOnSend[] = "rts-on-send";
constexpr char kRtsAfterSend[] = "rts-after-send";

struct ParityName
{
    const char *name;
    Parity parity;
};

constexpr ParityName kParities[] = {{"even", Parity::Even}, {"odd", Parity::Odd}, {"none", Parity::None}};

struct OptionName
{
    const char *name;
    quint32 mask;
    const char *meaning;
};

constexpr OptionName kOptions[] = {
    {"one-based", kOptionOneBased, "addresses are typed counting from 1"},
    {"fc16-single", kOptionRegisterAsBlock, "a single 4x register is written with function 16 instead of 6"},
    {"bit-from-mirror", kOptionBitFromMirror,
     "4x_bit is written from the last known register value, without reading it first"},
    {"single-registers", kOptionSingleRegisters, "4x registers are written one a request"},
    {"single-coils", kOptionSingleCoils, "coils are written one a request"},
    {"crc-swap-requests", kOptionSwapRequestCrc, "CRC of requests high byte first"},
    {"crc-swap-replies", kOptionSwapReplyCrc, "CRC of replies high byte first"},
    {"no-reply-single", kOptionNoReplyToSingle, "stations do not answer writes to 4x_single"},
    {"no-reply-block", kOptionNoReplyToBlock, "stations do not answer writes to 4x_block"},
    {"no-bit-packing", kOptionNoBitPacking, "coils and discrete inputs are read one a request"},
};

struct PolicyName
{
    const char *name;
    bool Policies::*flag;
    const char *meaning;
};

constexpr PolicyName kPolicies[] = {
    {"discard-input", &Policies::discardInput, "what arrives between two exchanges is thrown away"},
    {"late-reply-guard", &Policies::lateReplyGuard,
     "after a time-out the line is listened to before another request goes out"},
    {"reply-check", &Policies::checkReplies, "replies that do not fit the request are passed over"},
    {"strict-writes", &Policies::strictWrites, "a reply to a write must repeat address and value"},
    {"exception-end", &Policies::endOnException, "an exception reply ends the wait at once"},
    {"damage-end", &Policies::endOnDamage, "a damaged reply ends the wait at once"},
    {"absolute-deadline", &Policies::absoluteDeadline, "noise does not lengthen the wait for a reply"},
    {"offline", &Policies::offline, "a station that fails over and over is left alone but for trials"},
    {"echo-check", &Policies::echoCheck,
     "one register is read before the first write to a station that has not answered yet"},
};

/// The row of @p table with this name, null for none.
template <typename Row, std::size_t size>
const Row *find(const Row (&table)[size], const std::string &name)
{
    const Row *found =
        std::find_if(std::begin(table), std::end(table), [&](const Row &row) { return name == row.name; });
    return found != std::end(table) ? found : nullptr;
}

template <typename Row, std::size_t size>
std::string namesIn(const Row (&table)[size])
{
    std::string names;
    for (const Row &row : table)
        names += (names.empty() ? "" : ", ") + std::string(row.name);
    return names;
}

/// A line for each row, the meanings below each other.
template <typename Row, std::size_t size>
std::string helpOn(const Row (&table)[size])
{
    std::string help;
    for (const Row &row : table) {
        std::string line = "  " + std::string(row.name);
        line.resize(kHelpColumn, ' ');
        help += line + row.meaning + "\n";
    }
    return help;
}

/// @return false, @p delay untouched, where @p text is no delay.
bool delayFrom(const std::string &text, int *delay)
{
    constexpr std::size_t kMostDigits = 4;
    if (text.empty() || text.size() > kMostDigits ||
        text.find_first_not_of("0123456789") != std::string::npos)
        return false;
    const int number = std::stoi(text);
    if (number > kRs485DelayMsLimits.most)
        return false;
    *delay = number;
    return true;
}

} // namespace

std::vector<std::string> parityNames()
{
    std::vector<std::string> names;
    for (const ParityName &row : kParities)
        names.emplace_back(row.name);
    return names;
}

std::string nameOf(Parity parity)
{
    for (const ParityName &row : kParities) {
        if (row.parity == parity)
            return row.name;
    }
    return std::string();
}

Rs485 rs485Named(const std::string &text)
{
    std::istringstream words(text);
    std::vector<std::string> parts;
    for (std::string part; std::getline(words, part, ',');)
        parts.push_back(part);
    const bool isNamed = !parts.empty() && (parts[0] == kRtsOnSend || parts[0] == kRtsAfterSend);
    bool isFine = isNamed && text.back() != ',' && (parts.size() == 1 || parts.size() == 3);
    Rs485 rs485;
    if (isFine && parts.size() == 3)
        isFine = delayFrom(parts[1], &rs485.beforeMs) && delayFrom(parts[2], &rs485.afterMs);
    if (!isFine)
        throw Failure(
            FailureKind::Usage,
            "RS-485 is rts-on-send or rts-after-send, with BEFORE,AFTER behind it where the port is to "
            "wait, each 0 to " +
                std::to_string(kRs485DelayMsLimits.most) + " ms, as rts-on-send,1,2");
    rs485.rtsOnSend = parts[0] == kRtsOnSend;
    return rs485;
}

std::string nameOf(const Rs485 &rs485)
{
    std::string name = rs485.rtsOnSend ? kRtsOnSend : kRtsAfterSend;
    if (rs485.beforeMs == 0 && rs485.afterMs == 0)
        return name;
    return name + "," + std::to_string(rs485.beforeMs) + "," + std::to_string(rs485.afterMs);
}

Parity parityNamed(const std::string &name)
{
    const ParityName *row = find(kParities, name);
    if (!row)
        throw Failure(FailureKind::Usage, "the parity must be even, odd or none");
    return row->parity;
}

quint32 optionMask(const std::string &name)
{
    const OptionName *option = find(kOptions, name);
    if (!option)
        throw Failure(FailureKind::Usage,
                      "option '" + name + "' is unknown; options are " + namesIn(kOptions));
    return option->mask;
}

std::vector<std::string> optionNames(quint32 mask)
{
    std::vector<std::string> names;
    for (const OptionName &row : kOptions) {
        if ((mask & row.mask) != 0)
            names.emplace_back(row.name);
    }
    return names;
}

std::string optionHelp()
{
    return helpOn(kOptions);
}

void turnOff(Policies *policies, const std::string &name)
{
    const PolicyName *policy = find(kPolicies, name);
    if (!policy)
        throw Failure(FailureKind::Usage,
                      "there is no policy '" + name + "'; policies are " + namesIn(kPolicies));
    policies->*policy->flag = false;
}

std::vector<std::string> namesOfThoseOff(const Policies &policies)
{
    std::vector<std::string> names;
    for (const PolicyName &row : kPolicies) {
        if (!(policies.*row.flag))
            names.emplace_back(row.name);
    }
    return names;
}

std::string policyHelp()
{
    return helpOn(kPolicies);
}

} // namespace plc::host
