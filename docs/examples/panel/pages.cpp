#include "tiles.h"
#include "window.h"

#include <qwt_legend.h>
#include <qwt_painter.h>
#include <qwt_plot.h>
#include <qwt_plot_canvas.h>
#include <qwt_plot_curve.h>
#include <qwt_plot_grid.h>
#include <qwt_text.h>

#include <QHeaderView>
#include <QTableWidget>

#include <cmath>

using namespace plcruntime;

namespace {

// A page with a grid of columns of the same width, and rows that share its height.
QGridLayout *makeGrid(int columns, const QList<int> &heights)
{
    auto *grid = new QGridLayout(new QWidget);
    grid->setContentsMargins(kGap, kGap, kGap, kGap);
    grid->setSpacing(kGap);
    for (int column = 0; column < columns; ++column)
        grid->setColumnStretch(column, 1);
    for (int row = 0; row < heights.size(); ++row)
        grid->setRowStretch(row, heights[row]);
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

void fillStations(QTableWidget *table, Machine *machine)
{
    const bool isLost = !machine->portReason().isEmpty();
    const QList<Counters> stations = machine->line().statistics().stations;
    for (int row = 0; row < Machine::kParts.size(); ++row) {
        const bool isOn = machine->line().stationState(row + 1) == StationState::On;
        const auto isThis = [row](const Counters &some) { return some.station == row + 1; };
        const auto found = std::find_if(stations.begin(), stations.end(), isThis);
        const QString state = isLost ? "no line" : isOn ? "on" : "▲ offline";
        const Counters counters = found == stations.end() ? Counters() : *found;
        setRow(table, row,
               {QString::number(row + 1), Machine::kParts[row], state, QString::number(counters.requests),
                QString::number(counters.timeouts + counters.bad), QString::number(counters.exceptions)},
               !isOn || isLost);
    }
}

// Each curve has a kind of line of its own.
const QPen kPens[] = {QPen(QColor("#24527a"), 3), QPen(QColor("#b3261e"), 3, Qt::DashLine, Qt::FlatCap),
                      QPen(QColor("#2f7d43"), 3, Qt::DotLine, Qt::FlatCap)};

// A curve with holes where nothing trustworthy was known, so that an outage is no straight stretch between
// two good values.
class Curve : public QwtPlotCurve
{
protected:
    void drawSeries(QPainter *painter, const QwtScaleMap &xMap, const QwtScaleMap &yMap, const QRectF &canvas,
                    int from, int to) const override
    {
        const int end = to < 0 ? static_cast<int>(dataSize()) : to + 1;
        for (int first = from, last = from; first < end; first = ++last) {
            while (last < end && !std::isnan(sample(last).y()))
                ++last;
            if (last > first)
                QwtPlotCurve::drawSeries(painter, xMap, yMap, canvas, first, last - 1);
        }
    }
};

} // namespace

QWidget *makeOverviewPage(Machine *machine, QButtonGroup *parts)
{
    QGridLayout *grid = makeGrid(8, {128, 108, 100});
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
    return page;
}

QWidget *makePartPage(Machine *machine, QButtonGroup *parts)
{
    QGridLayout *grid = makeGrid(24, {0, 104, 104, 84});
    QWidget *page = grid->parentWidget();
    for (int i = 0; i < Machine::kParts.size(); ++i) {
        auto *button = new QPushButton(Machine::kParts[i]);
        button->setObjectName("part." + Machine::kParts[i]);
        button->setCheckable(true);
        button->setStyleSheet("font-size: 14px");
        parts->addButton(button, i);
        grid->addWidget(button, 0, 3 * i, 1, 3);
    }
    const QStringList gauges = {
        "Speed",          "Torque",       "Motor current", "Motor temperature", "Drive temperature",
        "Supply voltage", "Air pressure", "Vacuum"};
    for (int i = 0; i < gauges.size(); ++i)
        grid->addWidget(new Gauge(machine, "Line.Actual." + gauges[i], page), 1 + i / 4, i % 4 * 6, 1, 6);
    const QStringList inputs = {"Emergency stop", "Guard front", "Guard rear",
                                "Air good",       "Drive ready", "Material low"};
    for (int i = 0; i < inputs.size(); ++i)
        grid->addWidget(new Lamp(machine, "Line.In." + inputs[i],
                                 QString(inputs[i]).replace("Emergency", "Emerg."), look::kText, page),
                        3, 4 * i, 1, 4);
    return page;
}

QWidget *makeSettingsPage(Machine *machine)
{
    QGridLayout *grid = makeGrid(4, {});
    const QStringList entries = {"Nominal speed",      "Ramp up",           "Ramp down",
                                 "Torque limit",       "Temperature limit", "Air pressure minimum",
                                 "Fill level minimum", "Restart delay"};
    for (int i = 0; i < entries.size(); ++i)
        grid->addWidget(new Entry(machine, "Line.Set." + entries[i], grid->parentWidget()), i / 4, i % 4);
    return grid->parentWidget();
}

QWidget *makeAlarmsPage(Machine *machine)
{
    QGridLayout *grid = makeGrid(1, {});
    QTableWidget *table = makeTable("alarms", {"Came", "Gone", "What"}, {100, 100}, 44);
    grid->addWidget(table);
    const auto fill = [=] {
        const QList<Alarm> alarms = machine->alarms();
        for (int row = 0; row < alarms.size(); ++row) {
            const bool isActive = alarms[row].isActive();
            const QString gone = isActive ? "active" : alarms[row].gone.toString("hh:mm:ss");
            const QString text = (isActive ? "▲ " : "") + alarms[row].text;
            setRow(table, row, {alarms[row].came.toString("hh:mm:ss"), gone, text}, isActive);
        }
    };
    QObject::connect(machine, &Machine::alarmsChanged, table, fill);
    return grid->parentWidget();
}

// How the communication goes.
QWidget *makeLinePage(Machine *machine)
{
    QGridLayout *grid = makeGrid(0, {});
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
        for (int row = 0; row < machine->orders().size(); ++row) {
            const auto &[what, result] = machine->orders()[row];
            const bool isGood = result.end == OrderEnd::Good;
            setRow(orders, row, {what + (isGood ? "\n" : "\n▲ ") + textOf(result)}, !isGood);
        }
        QString text = "Scan %1 ms     Requests %2     Repeats %3     Time-outs %4     Bad answers %5\n";
        const quint64 scan = static_cast<quint64>(machine->scanMs());
        for (const quint64 number : {scan, total.requests, total.retries, total.timeouts, total.bad})
            text = text.arg(number);
        facts->setText(text + machine->portReason());
    };
    QObject::connect(machine, &Machine::ticked, page, fill);
    QObject::connect(machine, &Machine::orderEnded, page, fill);
    return page;
}

QWidget *makeTrendPage(Machine *machine)
{
    QwtPainter::setPolylineSplitting(false); // each piece would begin its dashes anew
    auto *plot = new QwtPlot;
    plot->setObjectName("plot");
    plot->setCanvasBackground(look::kCard);
    plot->setContentsMargins(kGap, kGap, kGap, kGap);
    static_cast<QwtPlotCanvas *>(plot->canvas())->setFrameStyle(QFrame::NoFrame);
    plot->setAxisScale(QwtPlot::xBottom, -kTrendSeconds / 60, 0, 1);
    plot->setAxisTitle(QwtPlot::xBottom, QString("minutes from now"));
    plot->setAxisScale(QwtPlot::yLeft, 0, 120, 20);
    for (const auto axis : {QwtPlot::yLeft, QwtPlot::xBottom})
        plot->setAxisFont(axis, look::font(14));
    auto *grid = new QwtPlotGrid;
    grid->setPen(look::kPage, 1);
    grid->attach(plot);
    QList<Curve *> curves;
    for (const QPen &pen : kPens) {
        curves.append(new Curve);
        curves.last()->setPen(pen);
        curves.last()->setRenderHint(QwtPlotItem::RenderAntialiased);
        curves.last()->setLegendAttribute(QwtPlotCurve::LegendShowLine);
        curves.last()->setLegendIconSize(QSize(44, 20));
        curves.last()->attach(plot);
    }
    plot->insertLegend(new QwtLegend, QwtPlot::TopLegend);
    const auto draw = [=] {
        for (int i = 0; i < curves.size(); ++i) {
            const QVector<double> &values = machine->samples(i);
            QVector<QPointF> points;
            for (int k = 0; k < values.size(); ++k)
                points.append(QPointF((k - values.size() + 1) / 60.0, values[k]));
            curves[i]->setSamples(points);
            const Meaning &meaning = meaningOf(Machine::kTrends[i]);
            const bool isKnown = !values.isEmpty() && !std::isnan(values.last());
            const QString now = isKnown ? QString::number(values.last(), 'f', meaning.decimals) : "– – –";
            QwtText title(QString("%1 %2 %3").arg(meaning.title, now, meaning.unit));
            title.setFont(look::font(18, true));
            curves[i]->setTitle(title);
        }
        plot->replot();
    };
    QObject::connect(machine, &Machine::ticked, plot, draw);
    draw();
    return plot;
}
