/// @file
/// The commands of plchost. Each runs once, with the options that were typed, and throws Failure where it
/// cannot go on.
#ifndef PLC_COMMANDS_COMMANDS_H
#define PLC_COMMANDS_COMMANDS_H

#include <string>

#include "host/exit_codes.h"
#include "host/runtime_names.h"

namespace plc::host {

struct AreaMapOptions;
struct AskOptions;
struct CommandOptions;
struct DemoOptions;
struct LimitsOptions;
struct ListenOptions;
struct MapOptions;
struct OutputOptions;
struct PlanOptions;
struct RawOptions;
struct RunOptions;
struct ScanOptions;
struct WatchOptions;
struct WriteOptions;

/// plchost read: reads each variable once.
ExitCode readVariables(const CommandOptions &options);
/// plchost write: writes values and waits until each write has ended.
ExitCode writeVariables(const WriteOptions &options);
/// plchost watch: reads variables over and over.
ExitCode watchVariables(const WatchOptions &options);
/// plchost run: plays the runtime of a project.
ExitCode runProject(const RunOptions &options);
/// plchost listen: what goes over a line, without sending anything.
ExitCode listenToLine(const ListenOptions &options);
/// plchost plan: what a project costs on the line.
ExitCode planProject(const PlanOptions &options);
/// plchost project from-csv: a project file of a register map.
ExitCode projectFromMap(const MapOptions &options);
/// plchost project to-csv: the variables of a project as a register map.
ExitCode mapFromProject(const std::string &file);
/// plchost identify: what stations tell of themselves.
ExitCode identifyStations(const AskOptions &options);
/// plchost limits: what a station can do.
ExitCode findLimits(const LimitsOptions &options);
/// plchost map: which registers or bits there are.
ExitCode mapArea(const AreaMapOptions &options);
/// plchost raw: any bytes, and the answer.
ExitCode sendRaw(const RawOptions &options);
/// plchost ports: the serial ports of this machine.
ExitCode listPorts(const OutputOptions &options);
/// plchost scan: which stations are on a line, and at which settings.
ExitCode scanLine(const ScanOptions &options);
/// plchost demo: everything at once against a simulated station of its own.
ExitCode runDemo(const DemoOptions &options);

} // namespace plc::host

#endif
