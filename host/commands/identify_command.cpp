#include "host/commands/asked_line.h"
#include "host/commands/command_options.h"
#include "host/commands/commands.h"
#include "host/commands/finding_reports.h"
#include "host/commands/output.h"
#include "host/commands/standard_streams.h"

namespace plc::host {

ExitCode identifyStations(const AskOptions &options)
{
    const LinkSettings link = options.link();
    const std::vector<int> stations = options.askedStations();
    AskedLine line(link, options);
    int known = 0;
    int silent = 0;
    for (const int station : stations) {
        Identifier identifier(station, link.retries, options.wantsCrcHighFirst(link));
        if (!line.carryOut(identifier))
            return known > 0 ? kExitMixed : kExitNoReply;
        const Identification &found = identifier.result();
        print(identityReport(found, options.outputFormat(), std::chrono::system_clock::now()));
        known += found.isKnown() ? 1 : 0;
        silent += found.isThere() ? 0 : 1;
    }
    if (known == static_cast<int>(stations.size()))
        return kExitGood;
    if (known > 0)
        return kExitMixed;
    return silent == static_cast<int>(stations.size()) ? kExitNoReply : kExitException;
}

ExitCode findLimits(const LimitsOptions &options)
{
    const LinkSettings link = options.link();
    LimitsWish wish;
    wish.station = options.askedStations().front();
    wish.address = options.address;
    wish.samples = options.samples;
    wish.retries = link.retries;
    AskedLine line(link, options);
    LimitsFinder finder(wish);
    if (!line.carryOut(finder))
        return kExitNoReply;
    print(limitsReport(finder.result(), options.outputFormat(), std::chrono::system_clock::now()));
    return finder.result().isThere ? kExitGood : kExitNoReply;
}

} // namespace plc::host
