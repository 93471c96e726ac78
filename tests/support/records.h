/// @file
/// Whole records, field by field.
#ifndef PLC_TESTS_SUPPORT_RECORDS_H
#define PLC_TESTS_SUPPORT_RECORDS_H

#include <gtest/gtest.h>

#include "core/records.h"
#include "support/hex.h"

namespace plc::test {

/// A record in which every field has a value of its own, so that a field that is lost or swapped shows.
inline RW_VAR distinctVariable()
{
    RW_VAR var;
    var.hostId = 101;
    var.hostSubId = 102;
    var.direction = 103;
    var.linkMode = 104;
    var.linkId = 105;
    var.status = 106;
    var.varName = QString::fromLatin1("boiler");
    var.addrText = QString::fromLatin1("7.8");
    var.regType = 109;
    var.address = 110;
    var.station = 111;
    var.count = 112;
    var.relayArg1 = 113;
    var.relayArg2 = 114;
    var.data = hex("0F 1E");
    return var;
}

/// Compares everything but `status` and `data`.
inline void expectSameRequest(const RW_VAR &expected, const RW_VAR &actual)
{
    EXPECT_EQ(expected.hostId, actual.hostId);
    EXPECT_EQ(expected.hostSubId, actual.hostSubId);
    EXPECT_EQ(expected.direction, actual.direction);
    EXPECT_EQ(expected.linkMode, actual.linkMode);
    EXPECT_EQ(expected.linkId, actual.linkId);
    EXPECT_EQ(expected.varName.toStdString(), actual.varName.toStdString());
    EXPECT_EQ(expected.addrText.toStdString(), actual.addrText.toStdString());
    EXPECT_EQ(expected.regType, actual.regType);
    EXPECT_EQ(expected.address, actual.address);
    EXPECT_EQ(expected.station, actual.station);
    EXPECT_EQ(expected.count, actual.count);
    EXPECT_EQ(expected.relayArg1, actual.relayArg1);
    EXPECT_EQ(expected.relayArg2, actual.relayArg2);
}

inline void expectSameFields(const RW_VAR &expected, const RW_VAR &actual)
{
    expectSameRequest(expected, actual);
    EXPECT_EQ(expected.status, actual.status);
    EXPECT_EQ(expected.data, actual.data);
}

} // namespace plc::test

#endif
