#include "cli/version.h"

namespace plc::cli {

std::string versionLine(const std::string &program)
{
    return program + " " PLC_VERSION;
}

std::string versionDate()
{
    return PLC_VERSION_DATE;
}

} // namespace plc::cli
