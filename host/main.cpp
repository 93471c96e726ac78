// plchost: reference host of the driver and commissioning tool. Start at command_line.h for what it does, at
// cycle.h for how a host drives the library.

#include <QCoreApplication>

#include <cstdio>
#include <string>

#include "command_line.h"
#include "failure.h"
#include "interrupt.h"

namespace {

using namespace plc::host;

int failed(int code, std::string what)
{
    // Reasons come from many places; here they become one line.
    for (char &letter : what) {
        if (letter == '\n')
            letter = ' ';
    }
    std::fprintf(stderr, "plchost: %s\n", what.c_str());
    return code;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    try {
        const Command command = parseCommandLine(argc, argv);
        catchInterrupts();
        return command();
    } catch (const Failure &failure) {
        return failed(failure.code(), failure.what());
    }
}
