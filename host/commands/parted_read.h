/// @file
/// A variable that takes several requests, read in parts: what a station refuses of it hides nothing else.
#ifndef PLC_COMMANDS_PARTED_READ_H
#define PLC_COMMANDS_PARTED_READ_H

#include <vector>

#include "host/commands/output.h"
#include "host/commands/panel_line.h"

namespace plc::host {

/// One variable of `plchost read`.
class PartedRead
{
public:
    /// Adds the variable to the line, before that is opened.
    /// @throw Failure  (wrong usage) as PanelLine::add() and checkRead().
    PartedRead(PanelLine &line, const Variable &variable, const LinkSettings &link);

    /// Orders the first part. The others follow in await(): where a station does not answer, nobody waits for
    /// each of them.
    void begin();
    /// Waits for all parts. Ends early where one is not answered, or the program is interrupted: what is
    /// behind that part is missing, too.
    /// @param ends  gets the end of each part that was asked for.
    Row await(std::vector<OrderEnd> *ends);

private:
    struct Part
    {
        VariableId id;
        int first; ///< value of the variable
        int count; ///< values
    };

    std::string rangeOf(int first, int count) const;

    PanelLine &line_;
    Variable variable_;
    int station_;
    bool isInPieces_;
    std::vector<Part> parts_;
    OrderId begun_ = 0;
};

} // namespace plc::host

#endif
