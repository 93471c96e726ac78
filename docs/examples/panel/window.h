// The window and its pages.
#ifndef PANEL_WINDOW_H
#define PANEL_WINDOW_H

#include "machine.h"

#include <QButtonGroup>
#include <QWidget>

// Names of the pages, in the order of the keys F1 to F6.
extern const QStringList kPages;

// @param page  one of kPages.
QWidget *makeWindow(Machine *machine, const QString &page);

constexpr int kGap = 8;

// What a page reads while it is shown are the variables of its tiles. Of the first two `parts` get the
// buttons that choose a part of the line.
QWidget *makeOverviewPage(Machine *machine, QButtonGroup *parts);
QWidget *makePartPage(Machine *machine, QButtonGroup *parts);
QWidget *makeSettingsPage(Machine *machine);
QWidget *makeAlarmsPage(Machine *machine);
QWidget *makeTrendPage(Machine *machine);
QWidget *makeLinePage(Machine *machine);

#endif
