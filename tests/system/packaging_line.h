/// @file
/// The packaging line of the examples, running: eight stations with known values, and plchost with its
/// standard input in the test's hand.
#ifndef PLC_TESTS_SYSTEM_PACKAGING_LINE_H
#define PLC_TESTS_SYSTEM_PACKAGING_LINE_H

#include <QJsonObject>

#include <functional>

#include "host/project/project_file.h"
#include "programs.h"

namespace plc::test {

/// Path of the project.
extern const std::string kPackagingLine;

/// What stands in a bit or register of the simulated stations, in each something else.
/// @param baseType  0, 1, 4 or 5.
std::uint32_t known(int station, int baseType, int address);

/// The same as a file for plcstation, for stations 1 to 8 and all that the project reads.
std::string areasOfEightStations();

/// What the stations hold for a variable.
std::vector<double> knownValues(const runtime::Variable &variable);

/// A line of output as JSON; a test fails where it is none.
QJsonObject json(const std::string &line);
std::vector<double> numbers(const QJsonValue &list);
std::string word(const QJsonObject &object, const char *key);
/// True of a line of that kind, as "write".
bool isA(const char *kind, const QJsonObject &line);

/// plchost run with standard input in the test's hand.
class RunningProject
{
public:
    explicit RunningProject(const Words &arguments);
    ~RunningProject();
    RunningProject(const RunningProject &) = delete;
    RunningProject &operator=(const RunningProject &) = delete;

    void say(const std::string &line);

    /// The next line of output, which is not kept; nothing when none comes until @p limit.
    std::optional<QJsonObject> next(host::Time limit);

    /// Reads on until a line is as wanted.
    QJsonObject await(const std::function<bool(const QJsonObject &)> &wanted);
    QJsonObject awaitState(const std::string &variable, const std::string &state);
    QJsonObject awaitWrite(const std::string &variable);
    /// All variables in a row are good: writes go first, so that some may have been read late.
    void awaitAllGood();

    /// Ends it politely.
    /// @return its exit code.
    int end();

    /// Every line that was awaited.
    const std::vector<QJsonObject> &seen() const { return seen_; }
    int countOfWrites() const;
    host::ChildProcess &process() { return *process_; }

private:
    std::string pipe_;
    int input_ = -1;
    std::unique_ptr<host::ChildProcess> process_;
    std::vector<QJsonObject> seen_;
};

} // namespace plc::test

#endif
