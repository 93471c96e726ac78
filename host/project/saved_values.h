/// @file
/// Values that were saved as a table in CSV, as plchost read prints them, on their way back.
#ifndef PLC_PROJECT_SAVED_VALUES_H
#define PLC_PROJECT_SAVED_VALUES_H

#include <functional>
#include <string>
#include <vector>

#include "host/runtime_names.h"
#include "runtime/panel/values.h"
#include "runtime/panel/variable.h"

namespace plc::host {

/// Values in a row at one place.
struct SavedValues
{
    Variable variable; ///< with its station
    Values values;
};

struct SavedTable
{
    std::vector<SavedValues> values;
    int readOnly = 0; ///< lines of areas that nobody can write
    int unread = 0;   ///< lines that have no value: the reading had failed
};

/// Finds the variable that a name of the table stands for: "4x:103", "4x:202/f32", or the name of a variable
/// of a project.
/// @throw Failure  (wrong usage) where it is none.
using FindVariable = std::function<Variable(const std::string &name)>;

/// Reads a table: a line with the names of its columns, of which `name` and `value` must be there and
/// `station` and `state` may, then a line a value. Values whose places follow each other become one variable,
/// of at most @p mostElements bits or registers.
/// @param file     how errors call the text.
/// @param station  where the table names none.
/// @param oneBased  whether @p find counts addresses from 1. Where the table has a column `addresses_from`,
/// it
///                  says the same of the table, and both have to agree.
/// @throw Failure  (wrong usage) with line and column of the first mistake.
SavedTable parseSavedValues(const std::string &file, const std::string &text, int station, int mostElements,
                            bool oneBased, const FindVariable &find);

/// Values of a variable as variables of one value each.
std::vector<SavedValues> singlesOf(const SavedValues &saved);

} // namespace plc::host

#endif
