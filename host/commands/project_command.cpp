#include <cstdio>

#include "host/commands/command_options.h"
#include "host/commands/commands.h"
#include "host/commands/standard_streams.h"
#include "host/project/project_writer.h"
#include "host/project/register_map.h"
#include "runtime/line/failure.h"
#include "runtime/line/setting_limits.h"

namespace plc::host {

ExitCode projectFromMap(const MapOptions &options)
{
    if (options.stationList().front() < kStationLimits.least)
        throw Failure(FailureKind::Usage,
                      "the variables of a project are read, which no broadcast is; the station (-a) is " +
                          std::to_string(kStationLimits.least) + " to " +
                          std::to_string(kStationLimits.most));
    Project project = loadRegisterMap(options.file, options.link());
    project.name = options.name;
    print(projectText(project));
    return kExitGood;
}

ExitCode mapFromProject(const std::string &file)
{
    const Project project = loadProject(file);
    if (project.writtenRows > 0)
        std::fprintf(stderr, "plchost: %s: nameRows have no place in a map and are left out\n", file.c_str());
    print(registerMapText(project));
    return kExitGood;
}

} // namespace plc::host
