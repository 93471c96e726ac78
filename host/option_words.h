/// @file
/// Texts of the runtime in the words of plchost.
#ifndef PLC_HOST_OPTION_WORDS_H
#define PLC_HOST_OPTION_WORDS_H

#include <string>

namespace plc::host {

/// The runtime names its settings, as "setting 'maxBlock'", since it knows no command line. This puts the
/// option of plchost in their place, as "--max-block".
std::string inOptions(std::string text);

} // namespace plc::host

#endif
