/// @file
/// Where things stand in a Modbus RTU frame (MODBUS over Serial Line V1.02, 2.3; Application Protocol V1.1b3,
/// 6).
#ifndef PLC_MODBUS_FRAME_LAYOUT_H
#define PLC_MODBUS_FRAME_LAYOUT_H

#include <QByteArray>
#include <QtGlobal>

namespace plc {

constexpr uchar kReadCoils = 1;
constexpr uchar kReadDiscreteInputs = 2;
constexpr uchar kReadHoldingRegisters = 3;
constexpr uchar kReadInputRegisters = 4;
constexpr uchar kWriteSingleCoil = 5;
constexpr uchar kWriteSingleRegister = 6;
constexpr uchar kWriteMultipleCoils = 15;
constexpr uchar kWriteMultipleRegisters = 16;

constexpr int kStationAt = 0;
constexpr int kFunctionAt = 1;
constexpr int kAddressAt = 2;
constexpr int kQuantityAt = 4;       ///< quantity of a read or multiple write; value of a single write
constexpr int kByteCountAt = 6;      ///< of a multiple write
constexpr int kWriteDataAt = 7;      ///< of a multiple write
constexpr int kReplyByteCountAt = 2; ///< of a read reply
constexpr int kReadHeaderLen = 3;    ///< station, function, byte count
constexpr int kCrcLen = 2;
constexpr int kReadRequestLen = 8;
constexpr int kSingleWriteCrcAt = 6;
constexpr int kWriteReplyLen = 8;
constexpr int kShortestReply = 5; ///< a read reply without data

inline uchar *bytesOf(QByteArray &frame)
{
    return reinterpret_cast<uchar *>(frame.data());
}

inline const uchar *bytesOf(const QByteArray &frame)
{
    return reinterpret_cast<const uchar *>(frame.constData());
}

} // namespace plc

#endif
