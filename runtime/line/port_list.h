/// @file
/// The serial ports of a machine.
#ifndef PLC_LINE_PORT_LIST_H
#define PLC_LINE_PORT_LIST_H

#include <string>
#include <vector>

namespace plc::runtime {

/// Where the system shows what there is; other folders for tests.
struct PortPlaces
{
    std::string terminals = "/sys/class/tty";
    std::string devices = "/dev";
    std::string processes = "/proc";
};

/// A serial port. A text is empty where nothing is known.
struct ListedPort
{
    std::string path;                      ///< "/dev/ttyUSB0"
    std::vector<std::string> lastingNames; ///< paths that stay with its adapter, as /dev/serial/by-id/usb-...
    std::string driver;                    ///< of the system, as "ftdi_sio"
    std::string adapter; ///< maker, product and serial number of the adapter that it belongs to
    std::string holder;  ///< "process 4711 (plchost)": who uses it
};

/// Names of the terminals that have a device in the machine, as "ttyUSB0", numbers in them by their size.
/// Consoles, terminals that programs simulate, and places for ports that no chip fills are left out.
/// @param terminals  see PortPlaces.
std::vector<std::string> portNames(const std::string &terminals);

/// Who uses a port: that takes a look at every process of the machine.
enum class Holders
{
    Found,
    LeftOut
};

/// The ports of these names, those left out that are not among the devices.
std::vector<ListedPort> listPorts(const PortPlaces &places = PortPlaces(), Holders holders = Holders::Found);

} // namespace plc::runtime

#endif
