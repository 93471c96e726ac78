/// @file
/// Who uses a serial port.
#ifndef PLC_LINE_PORT_HOLDER_H
#define PLC_LINE_PORT_HOLDER_H

#include <string>

namespace plc::runtime {

/// "process 4711 (plchost)": who has locked the device at @p path by flock(). A lock is that of the device,
/// under whatever name.
/// @param processes  where the system shows its processes and locks.
/// @return empty where nobody has, or where that is not known.
std::string lockHolder(const std::string &path, const std::string &processes = "/proc");

/// The same of who has the device open, locked or not. Of processes of other users only root sees that.
std::string openHolder(const std::string &path, const std::string &processes = "/proc");

} // namespace plc::runtime

#endif
