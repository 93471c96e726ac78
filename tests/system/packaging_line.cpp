#include "packaging_line.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

namespace plc::test {

using host::steadyNow;
using host::Time;

const std::string kPackagingLine = PLC_EXAMPLES "/packaging_line.json";

namespace {

std::uint32_t knownRegister(int station, int baseType, int address)
{
    return static_cast<std::uint32_t>(station * 7919 + baseType * 2087 + address * 31) & 0xFFFFu;
}

std::uint32_t knownBit(int station, int baseType, int address)
{
    return (static_cast<std::uint32_t>(station + baseType + address * address / 3) >> 1) & 1u;
}

/// A piece of an area of all stations.
struct Filled
{
    const char *area;
    int baseType;
    int first;
    int count;
};

constexpr Filled kFilled[] = {{"0x", 0, 0, 20},    {"1x", 1, 0, 30},    {"3x", 4, 0, 40},
                              {"4x", 5, 1000, 50}, {"4x", 5, 2000, 10}, {"4x", 5, 3000, 10},
                              {"4x", 5, 4000, 20}, {"4x", 5, 5000, 10}};

} // namespace

std::uint32_t known(int station, int baseType, int address)
{
    return baseType <= 1 ? knownBit(station, baseType, address) : knownRegister(station, baseType, address);
}

std::string areasOfEightStations()
{
    QJsonObject stations;
    for (int station = 1; station <= 8; ++station) {
        QJsonObject areas;
        for (const Filled &filled : kFilled) {
            QJsonArray values;
            for (int i = 0; i < filled.count; ++i)
                values.append(static_cast<int>(known(station, filled.baseType, filled.first + i)));
            QJsonObject area = areas.value(filled.area).toObject();
            area.insert(QString::number(filled.first), values);
            areas.insert(filled.area, area);
        }
        stations.insert(QString::number(station), areas);
    }
    return QJsonDocument(QJsonObject{{"stations", stations}}).toJson().toStdString();
}

std::vector<double> knownValues(const runtime::Variable &variable)
{
    const int station = variable.station.value_or(0);
    const int baseType = variable.area->baseType;
    std::vector<double> values;
    for (int i = 0; i < variable.count; ++i) {
        if (variable.area->insideRegister) {
            const int bit = variable.first + i;
            values.push_back((known(station, baseType, bit / 16) >> (bit % 16)) & 1u);
        } else if (variable.area->unit == host::Unit::RegisterPair) {
            const int first = variable.first + 2 * i;
            values.push_back(known(station, baseType, first) * 65536.0 + known(station, baseType, first + 1));
        } else {
            values.push_back(known(station, baseType, variable.first + i));
        }
    }
    return values;
}

QJsonObject json(const std::string &line)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(QByteArray::fromStdString(line), &error);
    EXPECT_EQ(QJsonParseError::NoError, error.error) << line;
    return document.object();
}

std::vector<double> numbers(const QJsonValue &list)
{
    std::vector<double> result;
    for (const QJsonValue &item : list.toArray())
        result.push_back(item.toDouble());
    return result;
}

std::string word(const QJsonObject &object, const char *key)
{
    return object.value(key).toString().toStdString();
}

bool isA(const char *kind, const QJsonObject &line)
{
    return line.value("kind").toString() == kind;
}

RunningProject::RunningProject(const Words &arguments)
    : pipe_(::testing::TempDir() + "plc_input_" + std::to_string(getpid()))
{
    EXPECT_EQ(0, mkfifo(pipe_.c_str(), 0600));
    // Opened for both directions it waits for no reader.
    input_ = open(pipe_.c_str(), O_RDWR | O_CLOEXEC);
    process_ = std::make_unique<host::ChildProcess>(
        "/bin/sh",
        Words{"-c", "exec \"$0\" \"$@\" <'" + pipe_ + "'", PLC_HOST_PROGRAM, "run", "--format", "ndjson"} +
            arguments,
        true);
}

RunningProject::~RunningProject()
{
    close(input_);
    unlink(pipe_.c_str());
}

void RunningProject::say(const std::string &line)
{
    const std::string text = line + "\n";
    EXPECT_EQ(static_cast<ssize_t>(text.size()), write(input_, text.data(), text.size()));
}

std::optional<QJsonObject> RunningProject::next(Time limit)
{
    const auto line = process_->readLine(limit);
    return line ? std::optional<QJsonObject>(json(*line)) : std::nullopt;
}

QJsonObject RunningProject::await(const std::function<bool(const QJsonObject &)> &wanted)
{
    const Time limit = steadyNow() + kPatience;
    while (const auto object = next(limit)) {
        seen_.push_back(*object);
        if (wanted(*object))
            return *object;
    }
    ADD_FAILURE() << "the line never came; standard error: " << process_->errors();
    return QJsonObject();
}

QJsonObject RunningProject::awaitState(const std::string &variable, const std::string &state)
{
    return await([&](const QJsonObject &line) {
        return isA("value", line) && word(line, "variable") == variable && word(line, "state") == state;
    });
}

QJsonObject RunningProject::awaitWrite(const std::string &variable)
{
    return await(
        [&](const QJsonObject &line) { return isA("write", line) && word(line, "variable") == variable; });
}

void RunningProject::awaitAllGood()
{
    constexpr int kVariables = 600;
    int inARow = 0;
    await([&inARow](const QJsonObject &line) {
        if (isA("value", line))
            inARow = word(line, "state") == "good" ? inARow + 1 : 0;
        return inARow >= kVariables;
    });
}

int RunningProject::end()
{
    say("quit");
    await([](const QJsonObject &line) { return isA("statistics", line); });
    return process_->waitForEnd(steadyNow() + kPatience).value_or(-1);
}

int RunningProject::countOfWrites() const
{
    return static_cast<int>(std::count_if(seen_.begin(), seen_.end(),
                                          [](const QJsonObject &line) { return isA("write", line); }));
}

} // namespace plc::test
