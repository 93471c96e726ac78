#include "host/commands/help_texts.h"

#include "host/project/setting_names.h"
#include "runtime/panel/value_format.h"
#include "runtime/panel/variable.h"

namespace plc::host {

std::string commonHelp()
{
    return "Variables are AREA:ADDRESS[:COUNT][/FORMAT[.ORDER]][@STATION], as 4x:100, 4x:100:10, "
           "4x_bit:35.3,\n"
           "4x_d:200, 0x:16:8@5, 4x:200:3/f32.cdab.\n"
           "ADDRESS goes out as it is typed, counting from 0 (from 1 with --option one-based). COUNT is a "
           "number of\n"
           "values: bits, registers, 32-bit values (of two registers, the upper half first), or what FORMAT "
           "is.\n"
           "Areas:\n" +
           areaHelp() + "Formats: " + formatNames() +
           ".\nORDER is the order of the bytes, the highest called a: abcd (without it; the upper half at "
           "the "
           "lower\naddress), cdab, badc or dcba. It is ours for -t 4:float and 4:int as well, whatever other "
           "masters take.\n"
           "Options of the driver:\n" +
           optionHelp() + "Policies, all of them on without --without:\n" + policyHelp() + kExitCodes +
           " With several failures and nothing good the\n"
           "first failure counts. What an interruption (Ctrl-C) has left undone counts as no reply.";
}

} // namespace plc::host
