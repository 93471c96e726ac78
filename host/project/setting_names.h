/// @file
/// Names of settings as people type them, on the command line and in project files.
#ifndef PLC_PROJECT_SETTING_NAMES_H
#define PLC_PROJECT_SETTING_NAMES_H

#include <QtGlobal>

#include <string>
#include <vector>

#include "cli/row.h"
#include "host/runtime_names.h"
#include "runtime/line/line_settings.h"
#include "runtime/master/policies.h"

namespace plc::host {

/// "even", "odd" and "none".
std::vector<std::string> parityNames();

/// The parity of one of parityNames().
/// @throw Failure  (wrong usage) that lists them.
Parity parityNamed(const std::string &name);

/// Its name.
std::string nameOf(Parity parity);

/// "rts-on-send" or "rts-after-send", alone or with two delays in milliseconds: "rts-on-send,1,2".
/// @throw Failure  (wrong usage) that tells the form.
Rs485 rs485Named(const std::string &text);

/// The text that rs485Named() reads as @p rs485.
std::string nameOf(const Rs485 &rs485);

/// Bit of the driver's options (COM_INFO::options) that @p name stands for, as "one-based".
/// @throw Failure  (wrong usage) "option 'NAME' is unknown; options are ...".
quint32 optionMask(const std::string &name);

/// Names of the options that @p mask has.
std::vector<std::string> optionNames(quint32 mask);

/// All options with their meanings, for the help.
cli::Rows optionRows();

/// Turns the policy off that is called @p name, as "late-reply-guard".
/// @throw Failure  (wrong usage) that lists the names.
void turnOff(Policies *policies, const std::string &name);

/// Names of the policies that are off.
std::vector<std::string> namesOfThoseOff(const Policies &policies);

/// All policies with their meanings, for the help.
cli::Rows policyRows();

} // namespace plc::host

#endif
