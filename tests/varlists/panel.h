/// @file
/// What a panel hands over: its table of variables and its table of names, and lists of requests as people
/// write them.
#ifndef PLC_TESTS_READ_LIST_PANEL_H
#define PLC_TESTS_READ_LIST_PANEL_H

#include <memory>
#include <string>
#include <vector>

#include "support/driver_fixture.h"

namespace plc::test {

/// The runtime's variables. Bytes that the driver has no business with are filled.
class VariableTable
{
public:
    VariableTable() = default;
    VariableTable(const VariableTable &) = delete;
    VariableTable &operator=(const VariableTable &) = delete;

    VariableTable &add(int regType, const std::string &addrText, int count = 1, int station = 1,
                       const std::string &name = std::string())
    {
        auto variable = std::make_unique<HostVariable>();
        variable->runtimeByte0 = 0xEE;
        variable->regType = static_cast<quint8>(regType);
        variable->station = static_cast<quint8>(station);
        for (quint8 &byte : variable->runtimeBytes3)
            byte = 0xEE;
        variable->addrText = QString::fromLatin1(addrText.c_str());
        variable->varName = QString::fromLatin1(name.c_str());
        variable->count = count;
        records_.append(variable.get());
        owned_.push_back(std::move(variable));
        return *this;
    }

    VariableTable &add(int regType, int address, int count = 1, int station = 1)
    {
        return add(regType, std::to_string(address), count, station);
    }

    VariableTable &addNull() { return records_.append(nullptr), *this; }

    QList<HostVariable *> *records() { return &records_; }

private:
    std::vector<std::unique_ptr<HostVariable>> owned_;
    QList<HostVariable *> records_;
};

/// The runtime's table of names.
class NameTable
{
public:
    NameTable() = default;
    NameTable(const NameTable &) = delete;
    NameTable &operator=(const NameTable &) = delete;

    /// A row of @p length texts: the level in the ninth, the name in the last, other words elsewhere.
    NameTable &add(const std::string &level, const std::string &name, int length = 10)
    {
        auto row = std::make_unique<NameRow>();
        for (quint8 &byte : row->runtimeBytes)
            byte = 0xEE;
        for (int i = 0; i < length; ++i)
            row->texts.append(QString::fromLatin1("1"));
        if (length > 8)
            row->texts[8] = QString::fromLatin1(level.c_str());
        if (length > 0)
            row->texts[length - 1] = QString::fromLatin1(name.c_str());
        rows_.append(row.get());
        owned_.push_back(std::move(row));
        return *this;
    }

    NameTable &add(int level, const std::string &name) { return add(std::to_string(level), name); }

    NameTable &addNull() { return rows_.append(nullptr), *this; }

    QList<NameRow *> *rows() { return &rows_; }

private:
    std::vector<std::unique_ptr<NameRow>> owned_;
    QList<NameRow *> rows_;
};

/// One request as "station/type:address+count".
inline std::string shown(const RW_VAR &request)
{
    return std::to_string(request.station) + "/" + std::to_string(request.regType) + ":" +
           std::to_string(request.address) + "+" + std::to_string(request.count);
}

/// A list of requests, separated by blanks.
inline std::string shown(const QList<RW_VAR> &requests)
{
    std::string text;
    for (const RW_VAR &request : requests)
        text += (text.empty() ? "" : " ") + shown(request);
    return text;
}

/// A list of requests of one station and area: "address+count ...".
inline std::string spans(const QList<RW_VAR> &requests)
{
    std::string text;
    for (const RW_VAR &request : requests)
        text +=
            (text.empty() ? "" : " ") + std::to_string(request.address) + "+" + std::to_string(request.count);
    return text;
}

/// A driver with settings and a panel that fills its tables.
class PanelTest : public SetUpDriver
{
protected:
    int rebuild() { return ReCreatReadVarList(panel.records()); }

    /// Hands over one priority name.
    void prioritise(int level, const std::string &name)
    {
        NameTable names;
        PassVarName(names.add(level, name).rows());
    }

    static QList<RW_VAR> &readList() { return PLC_driver.readList; }
    static QList<RW_VAR> &priorityReads(int level) { return PLC_driver.priorityReads[level - 1]; }
    static QList<RW_VAR> &priorityAddresses(int level) { return PLC_driver.priorityAddresses[level - 1]; }
    static PriorityClock &clock(int level) { return PLC_driver.priorityClocks[level - 1]; }

    VariableTable panel;
};

} // namespace plc::test

#endif
