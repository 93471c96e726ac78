// The window: a header with alarms and time, the pages, and the buttons that choose among them.
#ifndef PANEL_WINDOW_H
#define PANEL_WINDOW_H

#include "machine.h"

#include <QButtonGroup>
#include <QLabel>
#include <QPushButton>
#include <QStackedWidget>

// Names of the pages, in the order of the keys F1 to F6.
extern const QStringList kPages;

class Window : public QWidget
{
public:
    explicit Window(Machine *machine);
    void showPage(const QString &name);

private:
    void choosePart(int part);
    void showHeader();

    Machine *const machine_;
    QButtonGroup pages_;
    QButtonGroup parts_;
    QStackedWidget *const stack_ = new QStackedWidget;
    QLabel *const title_ = new QLabel;
    QPushButton *const banner_ = new QPushButton;
    QLabel *const line_ = new QLabel;
};

constexpr int kGap = 8;

// The pages. What a page reads while it is shown are the variables of its tiles. Of the first two `parts` get
// the buttons that choose a part of the line; whoever hears of them calls showPart().
QWidget *makeOverviewPage(Machine *machine, QButtonGroup *parts);
QWidget *makePartPage(Machine *machine, QButtonGroup *parts);
void showPart(QWidget *partPage, int part);
QWidget *makeSettingsPage(Machine *machine);
QWidget *makeAlarmsPage(Machine *machine);
QWidget *makeTrendPage(Machine *machine);
QWidget *makeLinePage(Machine *machine);

#endif
