/// @file
/// Hands variables and their names to the driver, which groups them into few requests by itself.
#ifndef PLC_PANEL_REGISTRATION_H
#define PLC_PANEL_REGISTRATION_H

#include <QList>
#include <QString>

#include <set>
#include <vector>

#include "runtime/master/driver_library.h"
#include "runtime/master/link_settings.h"
#include "runtime/panel/variable.h"

namespace plc::runtime {

constexpr int kRowTexts = 10; ///< that a row has at least
constexpr int kLevelText = 8; ///< index of the text that gives the level
/// The driver divides the number in the name of a coil or an input by this.
constexpr int kBitNameScale = 8;

/// A row of the name table that PassVarName takes, and the priority that the driver makes of it.
struct PriorityRow
{
    QList<QString> texts; ///< as they are handed over
    int level = 0;        ///< 1 to 4; 0 for a row that gives no priority
    int baseType = 0;     ///< area that the row's name is of: 0, 1, 4 or 5
    int address = 0;      ///< that is given the priority, in every station
};

/// Rows that give every register or bit of each variable its level, a place once. Packing may cut a variable
/// anywhere, so one row for a variable would not do.
/// @param rates  level of each variable, 0 for none.
std::vector<PriorityRow> rateRows(const std::vector<Variable> &variables, const std::vector<int> &rates);

/// Hands the name rows and the variables over; they replace the cyclic reads. After the driver got its
/// settings, once in a process, since the driver never forgets a name row. Where the driver would cut a value
/// of several registers, or read over a hole, it gets finished requests instead of the variables.
/// @param info       the driver's settings; its maxBlock is another while the call lasts.
/// @param settings   the same for us.
/// @param variables  with their stations.
/// @return number of the driver's cyclic reads, those of the priority levels not counted.
int registerVariables(DriverLibrary &driver, COM_INFO *info, const LinkSettings &settings,
                      const std::vector<Variable> &variables, const std::vector<PriorityRow> &rows);

/// Hands the variables alone over; they replace the cyclic reads. At any time; none at all is right, too.
/// @param variables  with their stations.
/// @return as registerVariables(), which has the other arguments as well.
int showVariables(DriverLibrary &driver, COM_INFO *info, const LinkSettings &settings,
                  const std::vector<Variable> &variables);

/// Stations with variables in an area in which a name has a priority level. Over a relay none: no level is
/// served there.
std::set<int> levelStations(const std::vector<Variable> &variables, const std::vector<PriorityRow> &rows,
                            const LinkSettings &settings);

} // namespace plc::runtime

#endif
