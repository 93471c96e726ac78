#include "tiles.h"
#include "window.h"

#include <QHeaderView>
#include <QTableWidget>

using namespace plcruntime;

namespace {

// A page with a grid of some columns, all of the same width.
QGridLayout *makeGrid(int columns)
{
    auto *grid = new QGridLayout(new QWidget);
    grid->setContentsMargins(kGap, kGap, kGap, kGap);
    grid->setSpacing(kGap);
    for (int column = 0; column < columns; ++column)
        grid->setColumnStretch(column, 1);
    return grid;
}

QTableWidget *makeTable(const char *name, const QStringList &headers, const QList<int> &widths, int rowHeight)
{
    auto *table = new QTableWidget(0, headers.size());
    table->setObjectName(name);
    table->setHorizontalHeaderLabels(headers);
    for (int column = 0; column < widths.size(); ++column)
        table->setColumnWidth(column, widths[column]);
    table->verticalHeader()->hide();
    table->verticalHeader()->setMinimumSectionSize(rowHeight);
    table->verticalHeader()->setDefaultSectionSize(rowHeight);
    table->horizontalHeader()->setStretchLastSection(true);
    table->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->setSelectionMode(QAbstractItemView::NoSelection);
    table->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    table->setAlternatingRowColors(true);
    table->setShowGrid(false);
    table->setTabKeyNavigation(false);
    return table;
}

// What stands out is bold, and has a sign in its texts.
void setRow(QTableWidget *table, int row, const QStringList &texts, bool standsOut)
{
    table->setRowCount(qMax(row + 1, table->rowCount()));
    for (int column = 0; column < texts.size(); ++column) {
        auto *item = new QTableWidgetItem(texts[column]);
        item->setFont(look::font(16, standsOut));
        table->setItem(row, column, item);
    }
}

void fillAlarms(QTableWidget *table, const QList<Alarm> &alarms)
{
    for (int row = 0; row < alarms.size(); ++row) {
        const Alarm &alarm = alarms[row];
        const QString came = alarm.came.toString("hh:mm:ss");
        const QString gone = alarm.isActive() ? "active" : alarm.gone.toString("hh:mm:ss");
        setRow(table, row, {came, gone, (alarm.isActive() ? "▲ " : "") + alarm.text}, alarm.isActive());
    }
}

void fillStations(QTableWidget *table, Machine *machine)
{
    const bool isLost = !machine->portReason().isEmpty();
    const QList<Counters> stations = machine->line().statistics().stations;
    for (int row = 0; row < Machine::kParts.size(); ++row) {
        const bool isOn = machine->line().stationState(row + 1) == StationState::On;
        const auto isThis = [row](const Counters &some) { return some.station == row + 1; };
        const auto found = std::find_if(stations.begin(), stations.end(), isThis);
        const Counters counters = found == stations.end() ? Counters() : *found;
        setRow(table, row,
               {QString::number(row + 1), Machine::kParts[row],
                isLost ? "no line"
                : isOn ? "on"
                       : "▲ offline",
                QString::number(counters.requests), QString::number(counters.timeouts + counters.bad),
                QString::number(counters.exceptions)},
               !isOn || isLost);
    }
}

void fillOrders(QTableWidget *table, const QList<OrderNote> &orders)
{
    for (int row = 0; row < orders.size(); ++row) {
        const bool isGood = orders[row].result.end == OrderEnd::Good;
        const QString end = (isGood ? "" : "▲ ") + textOf(orders[row].result);
        setRow(table, row, {orders[row].what + "\n" + end}, !isGood);
    }
}

} // namespace

QWidget *makeOverviewPage(Machine *machine, QButtonGroup *parts)
{
    QGridLayout *grid = makeGrid(8);
    QWidget *page = grid->parentWidget();
    const QStringList gauges = {"Line.Line speed", "Line.Efficiency", "Filler.Actual.Fill level",
                                "Line.Actual.Air pressure"};
    for (int i = 0; i < gauges.size(); ++i)
        grid->addWidget(new Gauge(machine, gauges[i], page), 0, 2 * i, 1, 2);
    for (int i = 0; i < Machine::kParts.size(); ++i) {
        Tile *tile = new Part(machine, Machine::kParts[i], page);
        parts->addButton(tile, i);
        grid->addWidget(tile, 1, i);
    }
    grid->addWidget(new Lamp(machine, "Line.Lamp red", "Fault", look::kAlarm, page), 2, 0);
    grid->addWidget(new Lamp(machine, "Line.Lamp yellow", "Attention", look::kCaution, page), 2, 1);
    grid->addWidget(new Lamp(machine, "Line.Lamp green", "Running", look::kGood, page), 2, 2);
    grid->addWidget(new Command(machine, "Line.Start", "Start", page), 2, 3, 1, 2);
    grid->addWidget(new Command(machine, "Line.Stop", "Stop", page), 2, 5, 1, 2);
    grid->addWidget(new Command(machine, "Line.Reset", "Reset", page), 2, 7);
    grid->setRowStretch(0, 128);
    grid->setRowStretch(1, 108);
    grid->setRowStretch(2, 100);
    return page;
}

QWidget *makePartPage(Machine *machine, QButtonGroup *parts)
{
    QGridLayout *grid = makeGrid(24);
    QWidget *page = grid->parentWidget();
    for (int i = 0; i < Machine::kParts.size(); ++i) {
        auto *button = new QPushButton(Machine::kParts[i]);
        button->setObjectName("part." + Machine::kParts[i]);
        button->setCheckable(true);
        button->setStyleSheet("font-size: 14px");
        parts->addButton(button, i);
        grid->addWidget(button, 0, 3 * i, 1, 3);
    }
    const QStringList gauges = namesOf(".Actual.").mid(0, 8);
    for (int i = 0; i < gauges.size(); ++i)
        grid->addWidget(new Gauge(machine, "Line" + gauges[i], page), 1 + i / 4, i % 4 * 6, 1, 6);
    const QStringList inputs = {"Emergency stop", "Guard front", "Guard rear",
                                "Air good",       "Drive ready", "Material low"};
    for (int i = 0; i < inputs.size(); ++i)
        grid->addWidget(new Lamp(machine, "Line.In." + inputs[i], inputs[i], look::kText, page), 3, 4 * i, 1,
                        4);
    grid->setRowStretch(1, 104);
    grid->setRowStretch(2, 104);
    grid->setRowStretch(3, 84);
    return page;
}

void showPart(QWidget *partPage, int part)
{
    for (Tile *tile : partPage->findChildren<Tile *>())
        tile->bind(Machine::kParts[part] + '.' + tile->objectName().section('.', 1));
}

QWidget *makeSettingsPage(Machine *machine)
{
    QGridLayout *grid = makeGrid(4);
    for (const QString &name : namesOf(".Set.")) {
        const int place = grid->count();
        grid->addWidget(new Entry(machine, "Line" + name, grid->parentWidget()), place / 4, place % 4);
    }
    return grid->parentWidget();
}

QWidget *makeAlarmsPage(Machine *machine)
{
    QGridLayout *grid = makeGrid(1);
    QTableWidget *table = makeTable("alarms", {"Came", "Gone", "What"}, {100, 100}, 44);
    grid->addWidget(table);
    const auto fill = [table, machine] { fillAlarms(table, machine->alarms()); };
    QObject::connect(machine, &Machine::alarmsChanged, table, fill);
    fill();
    return grid->parentWidget();
}

// How the communication goes.
QWidget *makeLinePage(Machine *machine)
{
    QGridLayout *grid = makeGrid(0);
    QWidget *page = grid->parentWidget();
    QTableWidget *stations = makeTable("stations", {"No.", "Station", "State", "Asked", "Failed", "Refused"},
                                       {40, 100, 100, 74, 66}, 32);
    stations->setFixedWidth(452);
    QTableWidget *orders = makeTable("orders", {"Orders and their ends"}, {}, 52);
    auto *facts = new QLabel;
    facts->setObjectName("facts");
    facts->setWordWrap(true);
    grid->addWidget(stations, 0, 0);
    grid->addWidget(orders, 0, 1);
    grid->addWidget(facts, 1, 0, 1, 2);
    // Something of each station, so that its state is always young.
    for (const QString &part : Machine::kParts)
        (new Part(machine, part, page))->hide();
    const auto fill = [=] {
        const Counters total = machine->line().statistics().total;
        fillStations(stations, machine);
        fillOrders(orders, machine->orders());
        facts->setText(
            QString("Scan %1 ms     Requests %2     Repeats %3     Time-outs %4     Bad answers %5\n%6")
                .arg(machine->scanMs())
                .arg(total.requests)
                .arg(total.retries)
                .arg(total.timeouts)
                .arg(total.bad)
                .arg(machine->portReason()));
    };
    QObject::connect(machine, &Machine::ticked, page, fill);
    QObject::connect(machine, &Machine::orderEnded, page, fill);
    return page;
}
