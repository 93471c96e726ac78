// Writes one value and says how that ended: write_once PORT PLACE VALUE, as in write_once /dev/ttyUSB0
// 4x:200/f32@7 12.5 Exit codes: 0 the station has confirmed it; 1 it is not known to have been written.
#include <plcruntime/plcruntime.h>

#include <cstdio>

using namespace plcruntime;

int main(int argc, char **argv)
{
    LineSettings settings;
    settings.port = QString::fromLocal8Bit(argc == 4 ? argv[1] : "");
    settings.delivery = Delivery::Poll;
    Line line(settings);
    Error error;
    const VariableId variable = line.addVariable(argc == 4 ? argv[2] : "", &error);
    if (!error)
        error = line.open();
    OrderId order = 0;
    if (!error) // with a deadline of ten seconds, so that the wait for its end is no longer
        order = line.write(variable, QString::fromLatin1(argv[3]).toDouble(), 10000, &error);
    if (error) {
        std::fprintf(stderr, "nothing was sent: %s\n", qPrintable(error.text));
        return 1;
    }
    const OrderResult result = line.wait(order);
    std::printf("%s\n", result.end == OrderEnd::Good ? "written" : qPrintable(result.reason));
    return result.end == OrderEnd::Good ? 0 : 1;
}
