#include "host/line_rate.h"

// Not <termios.h>: it has no way to tell a rate that has no name, and does not go together with this header.
#include <asm/termbits.h>
#include <sys/ioctl.h>

#include <cstdint>
#include <cstdlib>

namespace plc::host {

int lineRate(int descriptor)
{
    termios2 mode{};
    if (ioctl(descriptor, TCGETS2, &mode) != 0)
        return 0;
    return static_cast<int>(mode.c_ospeed);
}

std::string rateWarning(const std::string &port, int asked, int real)
{
    constexpr std::int64_t kHarmlessShare = 100;
    if (real <= 0 || kHarmlessShare * std::abs(real - asked) <= asked)
        return std::string();
    return "port '" + port + "' runs at " + std::to_string(real) + " baud, since it cannot do " +
           std::to_string(asked) + "; stations may not understand it";
}

} // namespace plc::host
