// The Qt SerialBus client: reads 100 holding registers over and over.
//
//   peer_serialbus PORT SECONDS

#include <QCoreApplication>
#include <QModbusDataUnit>
#include <QModbusReply>
#include <QModbusRtuSerialMaster>
#include <QTimer>
#include <QVariant>

#include <cstdio>

namespace {

constexpr int kBaud = 115200;
constexpr int kEvenParity = 2; // QSerialPort::EvenParity

class Reader
{
public:
    explicit Reader(QModbusRtuSerialMaster *master) : master_(master) {}

    void next()
    {
        QModbusReply *reply =
            master_->sendReadRequest(QModbusDataUnit(QModbusDataUnit::HoldingRegisters, 0, 100), 1);
        if (!reply) {
            ++failed;
            QCoreApplication::exit(2);
            return;
        }
        QObject::connect(reply, &QModbusReply::finished, [this, reply] {
            failed += reply->error() == QModbusDevice::NoError && reply->result().valueCount() == 100 ? 0 : 1;
            reply->deleteLater();
            next();
        });
    }

    int failed = 0;

private:
    QModbusRtuSerialMaster *master_;
};

} // namespace

int main(int argc, char **argv)
{
    if (argc < 3)
        return 1;
    QCoreApplication program(argc, argv);
    QModbusRtuSerialMaster master;
    master.setConnectionParameter(QModbusDevice::SerialPortNameParameter, QString::fromLocal8Bit(argv[1]));
    master.setConnectionParameter(QModbusDevice::SerialBaudRateParameter, kBaud);
    master.setConnectionParameter(QModbusDevice::SerialParityParameter, kEvenParity);
    master.setTimeout(1000);
    if (!master.connectDevice())
        return 5;
    Reader reader(&master);
    reader.next();
    QTimer::singleShot(static_cast<int>(1000 * QByteArray(argv[2]).toDouble()), &program,
                       &QCoreApplication::quit);
    const int code = program.exec();
    if (reader.failed > 0)
        std::fprintf(stderr, "peer_serialbus: %d readings failed\n", reader.failed);
    return code != 0 || reader.failed > 0 ? 2 : 0;
}
