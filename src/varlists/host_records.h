/// @file
/// The records in which a runtime hands over its variables. They are the runtime's own: the driver knows the
/// few fields named here and reads nothing else.
#ifndef PLC_VARLISTS_HOST_RECORDS_H
#define PLC_VARLISTS_HOST_RECORDS_H

#include <QList>
#include <QString>
#include <QtGlobal>

#include <cstddef>

/// One variable that is to be read cyclically.
struct HostVariable
{
    quint8 runtimeByte0;
    quint8 regType; ///< register type code 0..9
    quint8 station; ///< used when stationMode of the settings is not 0
    quint8 runtimeBytes3[5];
    QString addrText; ///< address as typed on the panel
    QString varName;  ///< carried along, not interpreted
    qint32 count;     ///< bits or 16-bit registers
};

/// One row of the runtime's table of variable names.
struct NameRow
{
    quint8 runtimeBytes[12];
    /// At least 10 texts: the ninth is the priority level as a number, the last the name of the variable with
    /// the prefix of its area, such as "4x_d100".
    QList<QString> texts;
};

// A panel has pointers of 4 bytes and fixed offsets. Where pointers have 8 bytes the same members follow each
// other in natural alignment.
static_assert(offsetof(HostVariable, regType) == 1, "the runtime keeps the register type here");
static_assert(offsetof(HostVariable, station) == 2, "the runtime keeps the station here");
static_assert(offsetof(HostVariable, addrText) == 8, "the runtime keeps the address text here");
static_assert(offsetof(HostVariable, varName) == (sizeof(void *) == 4 ? 12 : 16),
              "the runtime keeps the name here");
static_assert(offsetof(HostVariable, count) == (sizeof(void *) == 4 ? 16 : 24),
              "the runtime keeps the count here");
static_assert(offsetof(NameRow, texts) == (sizeof(void *) == 4 ? 12 : 16),
              "the runtime keeps the texts here");

#endif
