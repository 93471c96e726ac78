/// @file
/// What the driver has chosen to send, which nobody else is told.
#ifndef PLC_TESTS_BUS_CHOICES_H
#define PLC_TESTS_BUS_CHOICES_H

#include "runtime/master/driver_library.h"

namespace plc::bus {

struct Choice
{
    int hostId = 0;
    int hostSubId = 0;
    bool isWrite = false;
};

/// From now on looks at what @p driver chooses; one driver at a time in a process, as its entry points carry
/// no object.
void lookAtChoicesOf(runtime::DriverLibrary &driver);
/// What that driver has chosen last.
const Choice &lastChoice();

} // namespace plc::bus

#endif
