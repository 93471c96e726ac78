#include "window.h"

#include "tiles.h"

#include <QFile>
#include <QStackedWidget>
#include <QVBoxLayout>

const QStringList kPages = {"overview", "part", "settings", "alarms", "trend", "line"};

namespace {

// A header with alarms and time, a page, and the buttons that choose which.
class Window : public QWidget
{
public:
    Window(Machine *machine, const QString &firstPage) : machine_(machine)
    {
        setObjectName("window");
        QFile style(":/panel.css");
        if (style.open(QIODevice::ReadOnly))
            setStyleSheet(QString::fromUtf8(style.readAll()));
        setFixedSize(800, 480);
        auto *column = new QVBoxLayout(this);
        column->setContentsMargins(0, 0, 0, 0);
        column->setSpacing(0);
        auto *header = new QWidget;
        header->setObjectName("header");
        header->setFixedHeight(52);
        auto *row = new QHBoxLayout(header);
        row->setContentsMargins(16, 4, 16, 4);
        row->setSpacing(16);
        title_->setObjectName("title");
        title_->setFixedWidth(130);
        banner_->setObjectName("alarmBanner");
        banner_->setCheckable(true); // checked: there are alarms
        line_->setObjectName("lineState");
        line_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        line_->setFixedWidth(190);
        row->addWidget(title_);
        row->addWidget(banner_, 1);
        row->addWidget(line_);
        column->addWidget(header);
        column->addWidget(stack_, 1);
        auto *bar = new QHBoxLayout;
        bar->setContentsMargins(kGap, 0, kGap, kGap);
        bar->setSpacing(kGap);
        column->addLayout(bar);

        auto *tiles = new QButtonGroup(this);
        for (QWidget *page :
             {makeOverviewPage(machine, tiles), makePartPage(machine, &parts_), makeSettingsPage(machine),
              makeAlarmsPage(machine), makeTrendPage(machine), makeLinePage(machine)})
            stack_->addWidget(page);
        const QStringList titles = {"Overview", "Machine", "Settings", "Alarms", "Trend", "Line"};
        for (int i = 0; i < kPages.size(); ++i) {
            auto *button = new QPushButton(titles[i]);
            button->setObjectName("page." + kPages[i]);
            button->setCheckable(true);
            button->setShortcut(QKeySequence(Qt::Key_F1 + i));
            pages_.addButton(button, i);
            bar->addWidget(button, 1);
        }
        connect(&pages_, &QButtonGroup::idClicked, this, [this](int page) { showPage(kPages[page]); });
        connect(&parts_, &QButtonGroup::idClicked, this, &Window::choosePart);
        connect(tiles, &QButtonGroup::idClicked, this, &Window::choosePart);
        connect(banner_, &QPushButton::clicked, this, [this] { showPage("alarms"); });
        connect(machine, &Machine::alarmsChanged, this, &Window::showHeader);
        connect(machine, &Machine::ticked, this, &Window::showHeader);
        parts_.button(0)->setChecked(true);
        showPage(firstPage);
    }

private:
    void showPage(const QString &name)
    {
        const int page = qMax(0, kPages.indexOf(name));
        pages_.button(page)->setChecked(true);
        title_->setText(pages_.button(page)->text());
        stack_->setCurrentIndex(page);
        // What the page shows is read from now on, and nothing else but what every page needs.
        QStringList names;
        for (Tile *tile : stack_->currentWidget()->findChildren<Tile *>()) {
            names.append(tile->objectName());
            tile->refresh();
        }
        machine_->show(names);
        showHeader();
    }
    void choosePart(int part)
    {
        parts_.button(part)->setChecked(true);
        for (Tile *tile : stack_->widget(kPages.indexOf("part"))->findChildren<Tile *>())
            tile->bind(Machine::kParts[part] + '.' + tile->objectName().section('.', 1));
        showPage("part");
    }
    void showHeader()
    {
        QStringList active;
        for (const Alarm &alarm : machine_->alarms()) {
            if (alarm.isActive())
                active.append(alarm.text);
        }
        const QString count = active.size() > 1 ? QString("▲ %1: ").arg(active.size()) : "▲ ";
        const QString text = active.isEmpty() ? "No alarms" : count + active.first();
        banner_->setText(QFontMetrics(look::font(16, true)).elidedText(text, Qt::ElideRight, 390));
        banner_->setChecked(!active.isEmpty());
        const bool isLost = !machine_->portReason().isEmpty();
        line_->setText((isLost ? "▲ No line   " : "Line good   ") +
                       QTime::currentTime().toString("hh:mm:ss"));
        line_->setStyleSheet(isLost ? "color: #b3261e; font-weight: bold" : "");
    }

    Machine *const machine_;
    QButtonGroup pages_, parts_;
    QStackedWidget *const stack_ = new QStackedWidget;
    QLabel *const title_ = new QLabel, *const line_ = new QLabel;
    QPushButton *const banner_ = new QPushButton;
};

} // namespace

QWidget *makeWindow(Machine *machine, const QString &page)
{
    return new Window(machine, page);
}
