/// @file
/// Values on standard output, for people and for programs.
#ifndef PLC_COMMANDS_OUTPUT_H
#define PLC_COMMANDS_OUTPUT_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/commands/wall_clock.h"
#include "host/runtime_names.h"
#include "runtime/line/link_time.h"
#include "runtime/panel/values.h"
#include "runtime/panel/variable.h"

namespace plc::host {

enum class Format
{
    Text,
    Csv,
    NdJson
};

/// "text", "csv" or "ndjson"; anything else is text.
Format formatOf(const std::string &name);

NumberStyle numberStyleOf(bool hex, bool isSigned);

/// "12.50" with two digits.
std::string fixed(double value, int digits);

/// One variable as it is shown.
struct Row
{
    Variable variable;
    int station = 0;
    std::optional<Values> values;   ///< nothing when none are known
    std::vector<bool> missing;      ///< which of the values could not be read; empty = none
    std::vector<std::string> typed; ///< the values as they were typed, see typedValues(); empty = were not
    std::string state;              ///< "good", "refused", ...
    std::string detail;             ///< more about the state for the lines of text, may be empty
    int exceptionCode = 0;          ///< as the station gave it; 0 for none
    std::string reason;             ///< one line for people why it is not good, may be empty
    bool isWrite = false;           ///< the values were ordered; else they were read
    std::uint64_t order = 0;        ///< of a write: its number in the audit; 0 for none
    bool isDone = false;            ///< of a write: the station holds the values, as far as is known
    bool isInPieces = false;        ///< a single value of it was read in two requests or more
    std::optional<Time> age;
    std::optional<Time> moment;   ///< since the start, for repeated rows
    std::optional<WallTime> time; ///< of that moment; of what is done once: of its end
};

/// The row of a variable that is read over and over.
Row rowOf(const Variable &variable, int station, const VariableState &state);

/// "never read", "good", "stale", "refused", "no answer", "bad reply", "line busy", "switched off",
/// "offline", "port lost".
const char *stateName(const VariableState &state);

/// The same for the end of a single order: "good", "refused", "no answer", "bad reply", "line busy", ...
const char *stateName(OrderEnd end);

/// True where one of them has a unit, or texts that stand for its values.
bool haveMeanings(const std::vector<Variable> &variables);

/// The state with all that is known of it: "good, read in pieces", "refused: illegal data address".
std::string fullState(const Row &row);

/// The values of a variable as a list in JSON. What is no number there is a text, NaN and infinities are
/// null.
std::string valuesInJson(const Variable &variable, const Values &values, NumberStyle style);

/// The row for programs, an object of JSON without the end of the line; docs/output.md has its members.
std::string recordOf(const Row &row, NumberStyle style);

/// Prints rows as they come.
/// - text: "4x:100:3 = 1 2 3", with moment, state and age where they are given;
/// - csv: a head line, then a line for each value;
/// - ndjson: a JSON object on a line for each row.
class RowPrinter
{
public:
    /// @param withMeanings  csv has columns for unit and text.
    /// @param oneBased      csv says that addresses count from 1.
    RowPrinter(Format format, NumberStyle style, bool withMeanings = false, bool oneBased = false)
        : format_(format), style_(style), withMeanings_(withMeanings), oneBased_(oneBased)
    {}
    /// What print() prints, line ends included.
    std::string render(const Row &row);
    void print(const Row &row);

private:
    std::string text(const Row &row) const;
    std::string csv(const Row &row) const;
    std::string csvHead(const Row &row) const;
    std::string csvLine(const Row &row, int index) const;

    Format format_;
    NumberStyle style_;
    bool withMeanings_;
    bool oneBased_;
    bool headDone_ = false;
};

/// "1 frame", "2 frames".
std::string counted(std::uint64_t number, const std::string &one, const std::string &many);

/// Lines of a table: one of headings and one a row, columns under each other.
std::vector<std::string> layOut(const std::vector<std::vector<std::string>> &cells);

/// "0.3 s", "12 ms".
std::string formatAge(Time age);

/// The statistics at the end, several lines.
/// @param detailed  with the lateness of requests, and with the errors of the line also where there are none;
///                  otherwise these errors are told where there are some.
std::string describeStatistics(const Statistics &statistics, bool detailed);

/// The lines broken between words, so that a terminal of @p columns breaks none within one; 0: as they are.
std::string fitted(const std::string &lines, int columns);

double requestsPerSecond(const Statistics &statistics);

/// A duration that the library counted.
Time fromMicroseconds(qint64 microseconds);

/// "0.25": a time in milliseconds with two digits.
std::string inMilliseconds(Time time);

} // namespace plc::host

#endif
