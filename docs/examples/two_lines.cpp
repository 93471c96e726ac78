// Two lines in one process: copies register 100 of station 1 on the first line to register 200 on the second,
// whenever it changes.
//
//   two_lines PORT PORT
//
// Each line has a thread of its own, and a driver of its own. Ends with Ctrl-C; exit code 1: no ports.
#include <plcruntime/plcruntime.h>

#include <cstdio>
#include <future>

using namespace plcruntime;

int main(int argc, char **argv)
{
    LineSettings settings;
    settings.port = QString::fromLocal8Bit(argc == 3 ? argv[1] : "");
    Line from(settings);
    settings.port = QString::fromLocal8Bit(argc == 3 ? argv[2] : "");
    Line to(settings);

    const VariableId source = from.addVariable("4x:100");
    const VariableId target = to.addVariable("4x:200");
    from.showScreen(QList<VariableId>() << source);

    Listener writer(to);
    writer.onOrder = [](const OrderResult &result) { // on the thread of the second line
        std::printf("200 = %d: %s\n", static_cast<int>(result.values.first().toInteger()),
                    result.end == OrderEnd::Good ? "written" : qPrintable(result.reason));
        std::fflush(stdout);
    };
    Listener reader(from);
    reader.onVariable = [&to, target](const VariableState &state) { // on the thread of the first line
        if (state.quality == Quality::Good)
            to.write(target, state.values.first(), 5000);
    };

    Error error = from.open();
    if (!error)
        error = to.open();
    if (error) {
        std::fprintf(stderr, "%s\n", qPrintable(error.text));
        return 1;
    }
    std::promise<void>().get_future().wait(); // for ever
}
