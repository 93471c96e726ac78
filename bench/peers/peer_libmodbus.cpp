// The libmodbus client: reads 100 holding registers over and over.
//
//   peer_libmodbus PORT SECONDS [MICROSECONDS]
//
// Before each request it sleeps so many microseconds; without them it keeps no silence.

#include <modbus.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>

int main(int argc, char **argv)
{
    if (argc < 3)
        return 1;
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(std::atof(argv[2]));
    const int silence = argc > 3 ? std::atoi(argv[3]) : 0;
    modbus_t *line = modbus_new_rtu(argv[1], 115200, 'E', 8, 1);
    if (!line || modbus_set_slave(line, 1) != 0 || modbus_connect(line) != 0)
        return 5;
    modbus_set_response_timeout(line, 1, 0);
    int failed = 0;
    while (std::chrono::steady_clock::now() < end) {
        uint16_t values[100];
        if (silence > 0)
            usleep(static_cast<useconds_t>(silence));
        failed += modbus_read_registers(line, 0, 100, values) == 100 ? 0 : 1;
    }
    modbus_close(line);
    modbus_free(line);
    if (failed > 0)
        std::fprintf(stderr, "peer_libmodbus: %d readings failed\n", failed);
    return failed == 0 ? 0 : 2;
}
