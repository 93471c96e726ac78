/// @file
/// A line on which requests are asked one by one, without the driver.
#ifndef PLC_COMMANDS_ASKED_LINE_H
#define PLC_COMMANDS_ASKED_LINE_H

#include <functional>
#include <memory>
#include <optional>

#include "host/commands/command_options.h"
#include "host/finding/finder.h"
#include "host/runtime_names.h"
#include "runtime/line/port.h"
#include "runtime/master/link_settings.h"

namespace plc::host {

class Capture;

/// Opens the port of the settings. All commands that ask without the driver have their port from here.
/// Ctrl-C ends the wait, and is a question from then on.
/// @param verbose  tells on standard error what the port can do, too; otherwise warnings alone.
/// @throw Failure  (port) when it cannot be opened.
std::unique_ptr<Port> openPort(const LinkSettings &link, bool verbose);

/// Open as long as it lives. Functions that wait end when the program is interrupted.
class AskedLine
{
public:
    /// @throw Failure  as openPort(); (wrong usage) for settings of a relay, and as openCapture().
    AskedLine(const LinkSettings &link, const OutputOptions &options);
    ~AskedLine();
    AskedLine(const AskedLine &) = delete;
    AskedLine &operator=(const AskedLine &) = delete;

    /// @return nothing when the program was interrupted.
    /// @throw Failure  (port)
    std::optional<Answer> ask(const Question &question);
    /// Asks what @p finder wants to know. Of requests that are not known to read alone nothing goes out.
    /// @return false when the program was interrupted.
    /// @throw Failure  (port)
    bool carryOut(Finder &finder, const std::function<void(const Answer &)> &heed = nullptr);
    std::uint64_t requests() const { return asking_.requests(); }

private:
    std::shared_ptr<Capture> capture_; ///< null: none
    std::unique_ptr<Port> port_;
    FindingGround ground_;
    Asking asking_;
};

} // namespace plc::host

#endif
