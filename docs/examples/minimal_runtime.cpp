// A complete runtime in one file: opens a serial port, writes one register and reads five in a cycle.
//
//   minimal_runtime PORT [STATION]
//
// Writes 1234 to holding register 100 of the station (1), reads 100 to 104 five times and prints them.
// Exit codes: 0 the value came back; 1 wrong usage, no port or no answer.
#include <plcdriver.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

namespace {

const int kSilence = 5;        // ms; 3.5 characters of 11 bits at 9600 baud are 4.01 ms
const int kTurnaround = 100;   // ms after a request that nobody answers
const int kReplyTimeout = 500; // ms
const int kIdle = 5;           // ms between two looks when there is nothing to do

COM_INFO settings;           // the driver keeps this address
unsigned short words[50501]; // word 50500 would replace every station; 0 leaves them as they are

long long now() // ms
{
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * 1000LL + time.tv_nsec / 1000000;
}

int openPort(const char *path)
{
    const int port = open(path, O_RDWR | O_NOCTTY);
    termios mode;
    if (port < 0 || tcgetattr(port, &mode) != 0)
        return -1;
    cfmakeraw(&mode);
    mode.c_cflag |= CREAD | CLOCAL | CSTOPB; // 8 data bits, no parity, 2 stop bits
    cfsetispeed(&mode, B9600);
    cfsetospeed(&mode, B9600);
    return tcsetattr(port, TCSANOW, &mode) == 0 ? port : -1;
}

// Appends what arrives. False when nothing more came in time.
bool receiveMore(int port, QByteArray &received, long long until)
{
    pollfd polled = {port, POLLIN, 0};
    const long long left = until - now();
    char chunk[256];
    if (left <= 0 || poll(&polled, 1, static_cast<int>(left)) <= 0)
        return false;
    const ssize_t size = read(port, chunk, sizeof chunk);
    if (size > 0)
        received.append(chunk, static_cast<int>(size));
    return size > 0;
}

// Transmits a request and hands over what comes back. The request is the driver's and may be gone afterwards.
RW_VAR *carryOut(int port, const Protocol &request)
{
    QByteArray reply;
    const int wanted = request.replyLen; // -1: the driver will tell when the reply is complete
    const bool isBroadcast = request.frame.at(0) == 0;
    tcflush(port, TCIFLUSH);
    poll(nullptr, 0, kSilence);
    if (write(port, request.frame.constData(), static_cast<size_t>(request.sendLen)) != request.sendLen)
        return DataCom(&reply, 0);
    tcdrain(port);
    if (isBroadcast || wanted == 0) {
        poll(nullptr, 0, kTurnaround);
        return DataCom(&reply, 0);
    }
    const long long until = now() + kReplyTimeout;
    while (receiveMore(port, reply, until)) {
        if (wanted > 0 && reply.size() < wanted)
            continue;
        if (wanted > 0)
            reply.truncate(wanted);
        RW_VAR *result = DataCom(&reply, reply.size());
        if (wanted > 0)
            return result;
        if (result->status ==
            plc::kResultDone) // the buffer now holds just the reply; one more call finishes the step
            return DataCom(&reply, reply.size());
    }
    reply.clear();
    return DataCom(&reply, 0);
}

void onResult(int, int hostId, int, int outcome)
{
    std::printf("write %d %s\n", hostId, outcome == plc::kOutcomeDone ? "done" : "failed");
}

} // namespace

int main(int argc, char **argv)
{
    const int port = argc < 2 ? -1 : openPort(argv[1]);
    const int station = argc < 3 ? 1 : std::atoi(argv[2]);
    if (port < 0 || station < 1) {
        std::fprintf(stderr,
                     "usage: minimal_runtime PORT [STATION], with a serial port that can be opened\n");
        return 1;
    }
    std::memset(&settings, 0, sizeof settings);
    settings.maxBlock = 100;
    settings.stationMode = 1; // every variable has a station of its own
    settings.retryLimit = 2;
    settings.writeMode = 2; // writes go to the station
    SetComInfo(&settings);
    FlashLocalRegister(nullptr, words, nullptr);
    RegistCallBackFuncIntf(onResult, nullptr);

    HostVariable variable;
    variable.regType = 5; // holding registers
    variable.station = static_cast<quint8>(station);
    variable.addrText = QLatin1String("100");
    variable.count = 5;
    QList<HostVariable *> screen;
    screen.append(&variable);
    ReCreatReadVarList(&screen);
    QByteArray value("\xD2\x04", 2); // 1234, low byte first
    SetRegisterData(QString(), 5, QLatin1String("100"), station, &value, 1, 7, 0);

    for (int readings = 0; readings < 5;) {
        const Protocol *request = ComCommunication(0);
        if (!request) {
            poll(nullptr, 0, kIdle);
            continue;
        }
        const RW_VAR *result = carryOut(port, *request);
        if (result->status != plc::kResultPending && !plc::isDone(result->status)) {
            std::fprintf(stderr, "station %d: result code %d\n", station, result->status);
            return 1;
        }
        if (result->status != plc::kResultDone || result->direction != 0)
            continue; // to be sent again, or the write
        ++readings;
        GetRegisterData(QString(), 5, QLatin1String("100"), station, &value, 5);
        for (int i = 0; i < value.size(); i += 2)
            std::printf("%d ", static_cast<uchar>(value.at(i)) | static_cast<uchar>(value.at(i + 1)) << 8);
        std::printf("\n");
    }
    return static_cast<uchar>(value.at(0)) == 0xD2 && value.at(1) == 4 ? 0 : 1;
}
