#include <QDateTime>
#include <QFile>

#include "core/guarded.h"
#include "plcdriver.h"

namespace {

// QDateTime's own "z" pads differently in Qt 4.8 and Qt 5, so the milliseconds are written as a plain number.
QString timeStamp()
{
    const QDateTime now = QDateTime::currentDateTime();
    return now.toString(QLatin1String("yyyy.MM.dd.hh:mm:ss.")) + QString::number(now.time().msec());
}

} // namespace

void customMessageHandler(QtMsgType, const char *message)
{
    plc::guarded(0, [=] {
        QFile file(QLatin1String("/tmp/debug.log"));
        // Writing to a closed file makes Qt warn, and that warning would come back to this handler.
        if (!file.open(QIODevice::WriteOnly | QIODevice::Append))
            return 0;
        // Not through a QTextStream, whose constructor ends the process when memory runs out in it.
        QString line = timeStamp();
        line += QLatin1String(":");
        line += QString::fromLatin1(message);
        line += QLatin1String("\n");
        file.write(line.toLocal8Bit());
        return 0;
    });
}
