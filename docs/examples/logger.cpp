// Logs what a machine does: a line for each value of ten registers of station 1 that has changed.
//
//   logger PORT
//
// Ends with Ctrl-C. A port that is pulled out is looked for until it is back. Exit code 1: it cannot be
// opened.
#include <plcruntime/plcruntime.h>

#include <cstdio>

using namespace plcruntime;

static void onEvent(void *context, const Event &event)
{
    if (event.port)
        std::printf("port: %s\n",
                    event.port->state == PortState::Open ? "back" : qPrintable(event.port->reason));
    if (!event.variable)
        return;
    const VariableState &state = *event.variable;
    const QString place = static_cast<Line *>(context)->variableSettings(state.id).place;
    if (state.quality == Quality::Good)
        std::printf("%s = %d\n", qPrintable(place), static_cast<int>(state.values.first().toInteger()));
    else // the last value is known, and not to be trusted
        std::printf("%s: %s\n", qPrintable(place), qPrintable(state.reason));
}

int main(int argc, char **argv)
{
    LineSettings settings; // 19200 baud, even parity, time-out of a second, two repeats
    settings.port = QString::fromLocal8Bit(argc == 2 ? argv[1] : "");
    settings.delivery = Delivery::Poll; // events come inside poll(), so that this program needs no lock
    Line line(settings);
    line.setEventHandler(onEvent, &line);
    QList<VariableId> screen;
    for (int address = 100; address < 110; ++address)
        screen.append(line.addVariable(QString::fromLatin1("4x:%1").arg(address)));
    line.showScreen(screen);
    if (const Error error = line.open()) {
        std::fprintf(stderr, "%s\n", qPrintable(error.text));
        return 1;
    }
    for (;; std::fflush(stdout))
        line.poll(-1);
}
