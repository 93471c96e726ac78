// A Modbus RTU station built on libmodbus, as an independent witness: it serves a pseudo-terminal, names it
// in its first line, and prints the function code of each request that it answers.
//
// Coils and holding registers start at 0; discrete input i is i % 3 == 0, input register i is 1000 + i.

#include <fcntl.h>
#include <modbus.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

namespace {

constexpr int kItems = 1000;
constexpr int kStation = 17;

volatile std::sig_atomic_t stopping = 0;

void stop(int)
{
    stopping = 1;
}

/// A raw pseudo-terminal; the slave is kept open, so that plchost may come and go.
int openLine()
{
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0)
        return -1;
    const int slave = open(ptsname(master), O_RDWR | O_NOCTTY);
    termios mode{};
    if (slave < 0 || tcgetattr(slave, &mode) != 0)
        return -1;
    cfmakeraw(&mode);
    return tcsetattr(slave, TCSANOW, &mode) == 0 ? master : -1;
}

} // namespace

int main()
{
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    std::signal(SIGTERM, stop);
    const int line = openLine();
    modbus_t *station = modbus_new_rtu("a line of our own", 19200, 'E', 8, 1);
    modbus_mapping_t *items = modbus_mapping_new(kItems, kItems, kItems, kItems);
    if (line < 0 || !station || !items)
        return 1;
    for (int i = 0; i < kItems; ++i) {
        items->tab_input_bits[i] = i % 3 == 0 ? 1 : 0;
        items->tab_input_registers[i] = static_cast<uint16_t>(1000 + i);
    }
    modbus_set_slave(station, kStation);
    modbus_set_socket(station, line);
    modbus_set_indication_timeout(station, 0, 100000);
    std::printf("%s\n", ptsname(line));
    std::fflush(stdout);

    while (!stopping) {
        // Waits here and not inside libmodbus, so that a signal ends it under sanitizers too.
        pollfd arrival{line, POLLIN, 0};
        if (poll(&arrival, 1, 100) < 1)
            continue;
        uint8_t request[MODBUS_RTU_MAX_ADU_LENGTH];
        const int length = modbus_receive(station, request);
        if (length <= 0)
            continue;
        modbus_reply(station, request, length, items);
        std::printf("%d\n", request[modbus_get_header_length(station)]);
        std::fflush(stdout);
    }
    modbus_mapping_free(items);
    modbus_free(station);
    return 0;
}
