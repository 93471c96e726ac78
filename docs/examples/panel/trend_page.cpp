#include "tiles.h"
#include "window.h"

#include <qwt_legend.h>
#include <qwt_painter.h>
#include <qwt_plot.h>
#include <qwt_plot_canvas.h>
#include <qwt_plot_curve.h>
#include <qwt_plot_grid.h>
#include <qwt_scale_draw.h>
#include <qwt_text.h>

#include <cmath>

namespace {

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

class MinuteScale : public QwtScaleDraw
{
    QwtText label(double seconds) const override
    {
        return seconds > -1 ? QString("now") : QString("%1 min").arg(seconds / 60);
    }
};

} // namespace

QWidget *makeTrendPage(Machine *machine)
{
    QwtPainter::setPolylineSplitting(false); // each piece would begin its dashes anew
    auto *plot = new QwtPlot;
    plot->setObjectName("plot");
    plot->setCanvasBackground(look::kCard);
    plot->setContentsMargins(kGap, kGap, kGap, kGap);
    static_cast<QwtPlotCanvas *>(plot->canvas())->setFrameStyle(QFrame::NoFrame);
    plot->setAxisScaleDraw(QwtPlot::xBottom, new MinuteScale);
    plot->setAxisScale(QwtPlot::xBottom, -kTrendSeconds, 0, 60);
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
    auto *legend = new QwtLegend;
    legend->setObjectName("legend");
    plot->insertLegend(legend, QwtPlot::TopLegend);
    const auto draw = [=] {
        for (int i = 0; i < curves.size(); ++i) {
            const QVector<double> &values = machine->samples(i);
            QVector<QPointF> points;
            for (int k = 0; k < values.size(); ++k)
                points.append(QPointF(k - values.size() + 1, values[k]));
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
