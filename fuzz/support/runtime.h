/// @file
/// A driver fresh from its constructor and a runtime that remembers what it was told.
#ifndef PLC_FUZZ_SUPPORT_RUNTIME_H
#define PLC_FUZZ_SUPPORT_RUNTIME_H

#include <QByteArray>
#include <QString>

#include <string>
#include <vector>

#include "plcdriver.h"

namespace plc::fuzz {

/// One call of the completion callback.
struct Report
{
    int callbackArg;
    int hostId;
    int hostSubId;
    int outcome;

    bool operator==(const Report &other) const
    {
        return callbackArg == other.callbackArg && hostId == other.hostId && hostSubId == other.hostSubId &&
               outcome == other.outcome;
    }
};

/// Builds the driver anew for each input. One object at a time.
class Runtime
{
public:
    Runtime();
    ~Runtime();
    Runtime(const Runtime &) = delete;
    Runtime &operator=(const Runtime &) = delete;

    /// Hands the settings over again.
    void applySettings() { SetComInfo(&info); }
    /// Sets the word that replaces the station of every Modbus request; 0 for none.
    void overrideStation(unsigned short word);

    COM_INFO info; ///< maxBlock 100, stationMode 1, writeMode 2, callbackArg 77, everything else 0
    std::vector<Report> reports;
    std::vector<int> failures; ///< host id of each call of the failure callback
};

/// Nobody holds a mutex of the driver: asked after every call.
void claimLocksFree();

inline QByteArray toQt(const std::string &bytes)
{
    return QByteArray(bytes.data(), static_cast<int>(bytes.size()));
}

inline int byteOf(const QByteArray &bytes, int at)
{
    return at >= 0 && at < bytes.size() ? static_cast<unsigned char>(bytes.at(at)) : 0;
}

/// Whether the last two bytes are the CRC of the others, computed bit by bit.
bool hasGoodCrc(const QByteArray &frame, bool highFirst);
void appendCrc(QByteArray *frame, bool highFirst);

/// The decimal number that @p text stands for, with blanks around it and a sign before it.
/// @return false, with @p value 0, for any other text and for what does not fit an int
bool parseDecimal(const QString &text, int *value);

/// Only for such texts is parseDecimal() the judge: what digits and blanks other scripts have is Qt's affair.
bool isPlainText(const QString &text);

} // namespace plc::fuzz

#endif
