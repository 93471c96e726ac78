// plchost: reference host of the driver and commissioning tool. Start at commands/command_line.h for what it
// does, at runtime/master/cycle.h for how a host drives the library.

#include <QCoreApplication>

#include <clocale>
#include <cstdio>

#include "host/commands/command_line.h"
#include "host/commands/standard_streams.h"
#include "host/exit_codes.h"
#include "host/option_words.h"

using namespace plc::host;

namespace {

int run(int argc, char **argv)
{
    try {
        const Command command = parseCommandLine(argc, argv);
        return command();
    } catch (const Failure &failure) {
        std::fprintf(stderr, "plchost: %s\n", inOptions(failure.what()).c_str());
        return exitCodeOf(failure.kind());
    }
}

} // namespace

int main(int argc, char **argv)
{
    prepareStreams();
    const QCoreApplication application(argc, argv);
    // Qt has taken the user's locale. Programs read our numbers and people type them with a decimal point.
    std::setlocale(LC_NUMERIC, "C");
    return finishStreams(run(argc, argv));
}
