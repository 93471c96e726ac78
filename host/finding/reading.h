/// @file
/// Requests that read, as finders ask them.
#ifndef PLC_FINDING_READING_H
#define PLC_FINDING_READING_H

#include <initializer_list>

#include "host/finding/asking.h"

namespace plc::host {

constexpr int kFunctionDiagnostics = 8;
constexpr int kFunctionServerId = 17;
constexpr int kFunctionEncapsulated = 43;
constexpr int kReadIdentification = 14; ///< of kFunctionEncapsulated

/// Station, function and what else there is, each a byte, with the CRC.
inline QByteArray frameOf(std::initializer_list<int> bytes, bool crcHighFirst = false)
{
    QByteArray frame;
    for (const int byte : bytes)
        frame.append(static_cast<char>(byte));
    return withCrc(frame, crcHighFirst);
}

/// A read of functions 1 to 4.
inline QByteArray readFrame(int station, int function, int address, int count, bool crcHighFirst = false)
{
    return frameOf({station, function, address >> 8, address & 0xFF, count >> 8, count & 0xFF}, crcHighFirst);
}

} // namespace plc::host

#endif
