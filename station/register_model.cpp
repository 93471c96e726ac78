#include "register_model.h"

#include "modbus_codes.h"

#include <QtSerialBus/QModbusServer>

#include <algorithm>

namespace plc::station {

namespace {

struct AreaName
{
    Area area;
    const char *text;
    QModbusDataUnit::RegisterType table;
};

constexpr AreaName kAreas[] = {
    {Area::Coils, "0x", QModbusDataUnit::Coils},
    {Area::DiscreteInputs, "1x", QModbusDataUnit::DiscreteInputs},
    {Area::InputRegisters, "3x", QModbusDataUnit::InputRegisters},
    {Area::HoldingRegisters, "4x", QModbusDataUnit::HoldingRegisters},
};

const AreaName &named(Area area)
{
    return *std::find_if(std::begin(kAreas), std::end(kAreas),
                         [area](const AreaName &row) { return row.area == area; });
}

} // namespace

std::optional<Area> areaFromText(const std::string &text)
{
    for (const AreaName &row : kAreas) {
        if (text == row.text)
            return row.area;
    }
    return std::nullopt;
}

std::string areaText(Area area)
{
    return named(area).text;
}

bool isBitArea(Area area)
{
    return area == Area::Coils || area == Area::DiscreteInputs;
}

/// Qt's server without a line: it is never opened, requests are handed to it directly.
class RegisterModel::Server : public QModbusServer
{
public:
    using QModbusServer::processRequest;

protected:
    bool open() override
    {
        setState(QModbusDevice::ConnectedState);
        return true;
    }
    void close() override { setState(QModbusDevice::UnconnectedState); }
};

RegisterModel::RegisterModel(int size) : server_(std::make_unique<Server>())
{
    // One vector of zeros for all four areas: an area gets its own copy when it is first written.
    const QVector<quint16> zeros(size, 0);
    QModbusDataUnitMap map;
    for (const AreaName &row : kAreas)
        map.insert(row.table, QModbusDataUnit(row.table, 0, zeros));
    server_->setMap(map);
}

RegisterModel::~RegisterModel() = default;
RegisterModel::RegisterModel(RegisterModel &&) noexcept = default;
RegisterModel &RegisterModel::operator=(RegisterModel &&) noexcept = default;

Bytes RegisterModel::execute(ByteView pdu)
{
    const auto function = static_cast<QModbusPdu::FunctionCode>(pdu[0]);
    const QByteArray data(reinterpret_cast<const char *>(pdu.data) + 1, static_cast<int>(pdu.size) - 1);
    const QModbusResponse response = server_->processRequest(QModbusRequest(function, data));

    // functionCode() hides the exception bit.
    Bytes reply(
        1, static_cast<std::uint8_t>(response.functionCode() | (response.isException() ? kExceptionBit : 0)));
    const QByteArray replyData = response.data();
    reply.insert(reply.end(), replyData.begin(), replyData.end());
    return reply;
}

std::optional<std::vector<std::uint16_t>> RegisterModel::read(Area area, int address, int count) const
{
    if (address < 0 || count < 1 || count > kWholeArea)
        return std::nullopt;
    QModbusDataUnit unit(named(area).table, address, QVector<quint16>(count));
    if (!server_->data(&unit))
        return std::nullopt;
    const QVector<quint16> items = unit.values();
    std::vector<std::uint16_t> values(items.begin(), items.end());
    // Qt keeps a coil as it came: 0xFF00 after a single write, 1 after a block write.
    if (isBitArea(area)) {
        for (std::uint16_t &value : values)
            value = value != 0;
    }
    return values;
}

bool RegisterModel::write(Area area, int address, const std::vector<std::uint16_t> &values)
{
    if (address < 0 || values.empty() || values.size() > kWholeArea)
        return false;
    const QVector<quint16> items(values.begin(), values.end());
    return server_->setData(QModbusDataUnit(named(area).table, address, items));
}

} // namespace plc::station
