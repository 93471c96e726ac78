#include "runtime/line/rtu_layout.h"

#include <array>

#include "core/byte_order.h"
#include "runtime/line/setting_limits.h"

namespace plc::runtime {

namespace {

// Further function codes (MODBUS Application Protocol V1.1b3, chapter 6).
constexpr int kReadExceptionStatus = 7;
constexpr int kDiagnostics = 8;
constexpr int kEventCounter = 11;
constexpr int kEventLog = 12;
constexpr int kReportServerId = 17;
constexpr int kReadFile = 20;
constexpr int kWriteFile = 21;
constexpr int kMaskWrite = 22;
constexpr int kReadWriteRegisters = 23;
constexpr int kReadFifo = 24;
constexpr int kEncapsulated = 43;

constexpr int kReadIdentification = 14; // of kEncapsulated
constexpr int kEchoData = 0;            // of kDiagnostics
constexpr int kListenOnly = 4;

constexpr int kMostWriteRegistersWithRead = 121;
constexpr int kMostFifoRegisters = 31;
constexpr int kMostFileBytes = 0xF5;
constexpr int kMostFileBytesWritten = 0xFB;
constexpr int kFileReference = 6;

constexpr std::array<std::uint16_t, 256> makeCrcTable()
{
    std::array<std::uint16_t, 256> table{};
    for (unsigned value = 0; value < table.size(); ++value) {
        unsigned crc = value;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1u) != 0 ? (crc >> 1) ^ 0xA001u : crc >> 1;
        table[value] = static_cast<std::uint16_t>(crc);
    }
    return table;
}

constexpr std::array<std::uint16_t, 256> kCrcTable = makeCrcTable();

std::uint16_t crcStep(std::uint16_t crc, unsigned char byte)
{
    return static_cast<std::uint16_t>((crc >> 8) ^ kCrcTable[(crc ^ byte) & 0xFFu]);
}

int wordAt(const unsigned char *bytes, int at)
{
    return getBe16(bytes + at);
}

int byteOf(const QByteArray &bytes, int at)
{
    return at < bytes.size() ? static_cast<unsigned char>(bytes.at(at)) : 0;
}

int wordOf(const QByteArray &bytes, int at)
{
    return byteOf(bytes, at) * 256 + byteOf(bytes, at + 1);
}

ContentLength none()
{
    return {};
}

ContentLength known(int bytes)
{
    if (bytes < kShortestFrame || bytes > kLongestFrame)
        return none();
    return {ContentLength::Kind::Known, bytes};
}

ContentLength knownIf(bool isPlausible, int bytes)
{
    return isPlausible ? known(bytes) : none();
}

ContentLength unfinished(int bytes)
{
    return {ContentLength::Kind::Unfinished, bytes};
}

/// Whether @p bytes has a range of 1 to @p most items at @p at: address, then quantity.
bool isRange(const unsigned char *bytes, int at, int most)
{
    const int quantity = wordAt(bytes, at + 2);
    return quantity >= 1 && quantity <= most && wordAt(bytes, at) + quantity <= kAddresses;
}

/// How much of a frame must be there before its length can be told, in the roles of request and reply.
int bytesNeeded(int function, bool isReply)
{
    if (function >= kExceptionBit)
        return 3;
    if (isReply) {
        switch (function) {
        case kReadFile:
            return 5;
        case kReadFifo:
            return 6;
        case kEncapsulated:
            return 8;
        case 5:
        case kWriteMultipleCoils:
        case kWriteMultipleRegisters:
            return kRequestHead;
        case kWriteFile:
        case kEventCounter:
            return 4;
        case 6:
        case kReadExceptionStatus:
        case kDiagnostics:
        case kMaskWrite:
            return 2;
        default:
            return 3;
        }
    }
    switch (function) {
    case 1:
    case 2:
    case 3:
    case 4:
    case 5:
        return kRequestHead;
    case kReadFile:
    case kWriteFile:
    case kEncapsulated:
        return 4;
    case kWriteMultipleCoils:
    case kWriteMultipleRegisters:
        return 7;
    case kReadWriteRegisters:
        return 11;
    default:
        return 2;
    }
}

/// Of the functions whose requests a broadcast may carry.
bool isBroadcastable(int function)
{
    return isWriteFunction(function) || function == kMaskWrite;
}

bool isCoilValue(int value)
{
    return value == 0 || value == kCoilOn;
}

/// A device identification (6.21): objects with a length each, as many as its eighth byte says.
ContentLength identificationLength(const unsigned char *bytes, int available)
{
    constexpr int kFirstObject = 8;
    constexpr int kObjectHead = 2; // number, length
    const int category = bytes[3];
    const int moreFollows = bytes[5];
    if (bytes[2] != kReadIdentification || category < 1 || category > 4 ||
        (moreFollows != 0 && moreFollows != 0xFF))
        return none();
    int at = kFirstObject;
    for (int left = bytes[7]; left > 0; --left) {
        const int least = at + left * kObjectHead + kCrcLen;
        if (least > kLongestFrame)
            return none();
        if (at + kObjectHead > available)
            return unfinished(least);
        at += kObjectHead + bytes[at + 1];
    }
    return known(at + kCrcLen);
}

ContentLength normalReplyLength(const unsigned char *bytes, int available)
{
    const int function = bytes[1];
    const int count = bytes[2];
    switch (function) {
    case 1:
    case 2:
        return knownIf(count >= 1 && count <= kMostReadBits / 8, countedReplyLength(count));
    case 3:
    case 4:
    case kReadWriteRegisters:
        return knownIf(count >= 2 && count <= kMostReadRegisters * 2 && count % 2 == 0,
                       countedReplyLength(count));
    case 5:
        return knownIf(isCoilValue(wordAt(bytes, 4)), kWriteReplyLen);
    case 6:
    case kDiagnostics:
        return known(kWriteReplyLen);
    case kReadExceptionStatus:
        return known(5);
    case kEventCounter:
        return knownIf(wordAt(bytes, 2) == 0 || wordAt(bytes, 2) == 0xFFFF, 8);
    case kEventLog:
        return knownIf(count >= 6 && count <= 70, countedReplyLength(count));
    case kWriteMultipleCoils:
        return knownIf(isRange(bytes, 2, kMostWriteBits), kWriteReplyLen);
    case kWriteMultipleRegisters:
        return knownIf(isRange(bytes, 2, kMostWriteRegisters), kWriteReplyLen);
    case kReportServerId:
        return knownIf(count >= 1, countedReplyLength(count));
    case kReadFile:
        return knownIf(count >= 4 && count <= kMostFileBytes && bytes[4] == kFileReference,
                       countedReplyLength(count));
    case kWriteFile:
        return knownIf(count >= 9 && count <= kMostFileBytesWritten && bytes[3] == kFileReference,
                       countedReplyLength(count));
    case kMaskWrite:
        return known(10);
    case kReadFifo: {
        const int registers = wordAt(bytes, 4);
        return knownIf(registers <= kMostFifoRegisters && wordAt(bytes, 2) == 2 + 2 * registers,
                       8 + 2 * registers);
    }
    case kEncapsulated:
        return identificationLength(bytes, available);
    default:
        return none();
    }
}

} // namespace

std::uint16_t crcWith(std::uint16_t crc, unsigned char byte)
{
    return crcStep(crc, byte);
}

std::uint16_t crcOf(const char *bytes, int length)
{
    std::uint16_t crc = kCrcStart;
    for (int i = 0; i < length; ++i)
        crc = crcStep(crc, static_cast<unsigned char>(bytes[i]));
    return crc;
}

bool crcFits(const char *frame, int length, bool highFirst)
{
    const unsigned crc = crcOf(frame, length - kCrcLen);
    const auto low = static_cast<unsigned char>(frame[length - (highFirst ? 1 : 2)]);
    const auto high = static_cast<unsigned char>(frame[length - (highFirst ? 2 : 1)]);
    return (crc & 0xFFu) == low && crc >> 8 == high;
}

bool isReadFunction(int function)
{
    return function >= 1 && function <= 4;
}

bool isWriteFunction(int function)
{
    return function == 5 || function == 6 || function == kWriteMultipleCoils ||
           function == kWriteMultipleRegisters;
}

bool changesNothing(const QByteArray &request)
{
    constexpr int kDiagnosticRegister = 2;
    constexpr int kFirstCounter = 0x0B;
    constexpr int kLastCounter = 0x12;
    if (request.size() < 2 || byteOf(request, 0) == 0)
        return false;
    const int function = byteOf(request, 1);
    switch (function) {
    case kDiagnostics: {
        const int sub = wordOf(request, 2);
        return sub == kEchoData || sub == kDiagnosticRegister ||
               (sub >= kFirstCounter && sub <= kLastCounter);
    }
    case kReadExceptionStatus:
    case kEventCounter:
    case kEventLog:
    case kReportServerId:
    case kReadFile:
    case kReadFifo:
        return true;
    case kEncapsulated:
        return byteOf(request, 2) == kReadIdentification;
    default:
        return isReadFunction(function);
    }
}

ContentLength requestLengthAt(const unsigned char *bytes, int available)
{
    if (available < 2)
        return unfinished(2);
    const int function = bytes[1];
    if (bytes[0] > kStationLimits.most || (bytes[0] == 0 && !isBroadcastable(function)))
        return none();
    const int needed = bytesNeeded(function, false);
    if (available < needed)
        return unfinished(needed);
    switch (function) {
    case 1:
    case 2:
        return knownIf(isRange(bytes, 2, kMostReadBits), 8);
    case 3:
    case 4:
        return knownIf(isRange(bytes, 2, kMostReadRegisters), 8);
    case 5:
        return knownIf(isCoilValue(wordAt(bytes, 4)), 8);
    case 6:
    case kDiagnostics:
        return known(8);
    case kReadExceptionStatus:
    case kEventCounter:
    case kEventLog:
    case kReportServerId:
        return known(4);
    case kWriteMultipleCoils:
        return knownIf(isRange(bytes, 2, kMostWriteBits) && bytes[6] == (wordAt(bytes, 4) + 7) / 8,
                       9 + bytes[6]);
    case kWriteMultipleRegisters:
        return knownIf(isRange(bytes, 2, kMostWriteRegisters) && bytes[6] == wordAt(bytes, 4) * 2,
                       9 + bytes[6]);
    case kReadFile:
        return knownIf(bytes[2] >= 7 && bytes[2] <= kMostFileBytes && bytes[2] % 7 == 0 &&
                           bytes[3] == kFileReference,
                       5 + bytes[2]);
    case kWriteFile:
        return normalReplyLength(bytes, available);
    case kMaskWrite:
        return known(10);
    case kReadWriteRegisters:
        return knownIf(isRange(bytes, 2, kMostReadRegisters) &&
                           isRange(bytes, 6, kMostWriteRegistersWithRead) &&
                           bytes[10] == wordAt(bytes, 8) * 2,
                       13 + bytes[10]);
    case kReadFifo:
        return known(6);
    case kEncapsulated:
        return knownIf(bytes[2] == kReadIdentification && bytes[3] >= 1 && bytes[3] <= 4, 7);
    default:
        return none();
    }
}

ContentLength replyLengthAt(const unsigned char *bytes, int available)
{
    if (available < 2)
        return unfinished(2);
    const int function = bytes[1];
    if (bytes[0] == 0 || bytes[0] > kStationLimits.most || function == 0)
        return none();
    const int needed = bytesNeeded(function, true);
    if (available < needed)
        return unfinished(needed);
    if (function >= kExceptionBit)
        return knownIf(function > kExceptionBit && bytes[2] != 0, kExceptionLen);
    return normalReplyLength(bytes, available);
}

int replyLengthTo(const QByteArray &request)
{
    const int function = byteOf(request, 1);
    const int quantity = wordOf(request, 4);
    switch (function) {
    case 1:
    case 2:
        return countedReplyLength((quantity + 7) / 8);
    case 3:
    case 4:
    case kReadWriteRegisters:
        return countedReplyLength(quantity * 2);
    case 5:
    case 6:
    case kWriteMultipleCoils:
    case kWriteMultipleRegisters:
        return kWriteReplyLen;
    case kReadExceptionStatus:
        return 5;
    case kEventCounter:
        return 8;
    case kDiagnostics:
        return wordOf(request, 2) == kListenOnly ? 0 : request.size();
    case kWriteFile:
    case kMaskWrite:
        return request.size();
    default:
        return 0;
    }
}

int repeatedBytesOf(const QByteArray &request)
{
    const int function = byteOf(request, 1);
    if (isWriteFunction(function))
        return kRequestHead;
    if (function == kWriteFile || function == kMaskWrite ||
        (function == kDiagnostics && wordOf(request, 2) == kEchoData))
        return request.size() - kCrcLen;
    return function == kDiagnostics ? 4 : 2;
}

} // namespace plc::runtime
