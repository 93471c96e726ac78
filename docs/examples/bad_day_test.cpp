// A runtime's own test in virtual time: what its operator is shown when a station dies, and when an answer is
// late. Takes no port and no time. Exit codes: 0 all is as it should be; 1 it is not.
#include <plcruntime/testing.h>

#include <cstdio>

using namespace plcruntime;

namespace {

// The runtime under test: what it shows for a variable.
QString shown(Line &line, VariableId id)
{
    const VariableState state = line.value(id);
    if (state.values.isEmpty())
        return QLatin1String("----");
    const QString number = QString::number(state.values.first().toDouble());
    return state.quality == Quality::Good && !state.pendingWrite ? number : number + QLatin1String(" ?");
}

int failures = 0;

void expect(bool holds, const char *what, const SimulatedLine &bench)
{
    std::printf("%s %s\n", holds ? "ok  " : "FAIL", what);
    if (!holds && ++failures == 1)
        std::printf("%s", qPrintable(bench.journal()));
}

} // namespace

int main()
{
    SimulatedLine bench((LineSettings()));
    bench.addStation(7);
    bench.setValue(7, Table::HoldingRegisters, 200, 1234);
    Line &line = bench.line();
    const VariableId speed = line.addVariable("4x:200@7");
    line.showScreen(QList<VariableId>() << speed);
    expect(!line.open(), "the line opens", bench);
    expect(shown(line, speed) == QLatin1String("----"), "nothing is shown before the first reading", bench);
    bench.advance(1000);
    expect(shown(line, speed) == QLatin1String("1234"), "a second later the value is", bench);

    bench.setDead(7);
    bench.advance(30000);
    expect(line.value(speed).quality == Quality::Offline, "half a minute without an answer: offline", bench);
    expect(shown(line, speed) == QLatin1String("1234 ?"), "the last value is shown, and marked", bench);
    bench.setDead(7, false);
    bench.advance(120000);
    expect(shown(line, speed) == QLatin1String("1234"), "two minutes after it is back all is well", bench);

    bench.once(7, Mishap::LateAnswer);
    const OrderResult written = line.wait(line.write(speed, 500));
    expect(written.end == OrderEnd::Good, "a write whose answer is late is repeated and confirmed", bench);
    expect(bench.value(7, Table::HoldingRegisters, 200) == 500, "the station has it", bench);
    return failures == 0 ? 0 : 1;
}
