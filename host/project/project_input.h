/// @file
/// What people and scripts tell a running project, a line each.
#ifndef PLC_PROJECT_PROJECT_INPUT_H
#define PLC_PROJECT_PROJECT_INPUT_H

#include <map>
#include <string>
#include <vector>

#include "host/runtime_names.h"
#include "runtime/panel/values.h"
#include "runtime/panel/variable.h"

namespace plc::host {

struct ProjectOrder
{
    enum class Kind
    {
        Nothing, ///< an empty line or a comment
        Write,
        Station,
        NextPage,
        Page,
        Quit
    };
    Kind kind = Kind::Nothing;
    int variable = 0; ///< Write: its number in the project
    Values values;
    std::string typed; ///< Write: the values as they stand in the line
    int station = 0;   ///< Station
    bool enabled = false;
    int page = 0; ///< Page, counted from 1
};

/// For the help.
std::string projectInputHelp();

/// Understands the lines of one project.
class ProjectInput
{
public:
    explicit ProjectInput(const std::vector<Variable> &variables);

    /// @throw Failure  (wrong usage) that says what is wrong with the line and what is possible.
    ProjectOrder parse(const std::string &line) const;

private:
    ProjectOrder parseWrite(const std::string &name, const std::string &values) const;

    const std::vector<Variable> &variables_;
    std::map<std::string, int> numbers_; ///< by name
};

} // namespace plc::host

#endif
