#include "runtime/line/terminal_mode.h"

namespace plc::runtime {

namespace {

struct StandardRate
{
    int baud;
    tcflag_t code;
};

constexpr StandardRate kStandardRates[] = {
    {300, B300},         {600, B600},         {1200, B1200},       {1800, B1800},       {2400, B2400},
    {4800, B4800},       {9600, B9600},       {19200, B19200},     {38400, B38400},     {57600, B57600},
    {115200, B115200},   {230400, B230400},   {460800, B460800},   {500000, B500000},   {576000, B576000},
    {921600, B921600},   {1000000, B1000000}, {1152000, B1152000}, {1500000, B1500000}, {2000000, B2000000},
    {2500000, B2500000}, {3000000, B3000000}, {3500000, B3500000}, {4000000, B4000000},
};

} // namespace

int rateOf(const TerminalMode &mode)
{
    if (mode.knowsAnyRate)
        return static_cast<int>(mode.record.c_ospeed);
    for (const StandardRate &rate : kStandardRates) {
        if (rate.code == (mode.record.c_cflag & CBAUD))
            return rate.baud;
    }
    return 0;
}

bool setRate(TerminalMode *mode, int baud)
{
    tcflag_t code = BOTHER;
    for (const StandardRate &rate : kStandardRates) {
        if (rate.baud == baud)
            code = rate.code;
    }
    if (code == BOTHER && !mode->knowsAnyRate)
        return false;
    // The input rate follows the output rate.
    mode->record.c_cflag &= ~static_cast<tcflag_t>(CBAUD | (CBAUD << IBSHIFT));
    mode->record.c_cflag |= code;
    mode->record.c_ispeed = static_cast<speed_t>(baud);
    mode->record.c_ospeed = static_cast<speed_t>(baud);
    return true;
}

} // namespace plc::runtime
