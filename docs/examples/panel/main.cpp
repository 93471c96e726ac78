// An operator panel for the packaging line of docs/examples/packaging_line.json.
//
//   panel PORT [--page NAME] [--screenshot FILE [--after SECONDS]]
//
// 38400 baud, even parity. Pages are overview, part, settings, alarms, trend and line. Exit code 1: wrong
// usage, or the picture cannot be written.
#include "window.h"

#include <QApplication>
#include <QCommandLineParser>

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addPositionalArgument("port", "serial port of the line");
    parser.addOptions({{"page", "page to begin with: " + kPages.join(", "), "name", "overview"},
                       {"screenshot", "writes a picture of the page, and ends", "file"},
                       {"after", "takes it after so many seconds", "seconds", "5"}});
    parser.process(application);
    if (parser.positionalArguments().size() != 1 || !kPages.contains(parser.value("page")))
        parser.showHelp(1);

    Machine machine(panelSettings(parser.positionalArguments().first()));
    const QScopedPointer<QWidget> window(makeWindow(&machine, parser.value("page")));
    window->show();
    machine.start();
    if (parser.isSet("screenshot")) {
        QTimer::singleShot(parser.value("after").toInt() * 1000, window.data(), [&] {
            QApplication::exit(window->grab().save(parser.value("screenshot")) ? 0 : 1);
        });
    }
    return QApplication::exec();
}
