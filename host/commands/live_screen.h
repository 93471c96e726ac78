/// @file
/// The screen of watch and run: a line, its variables and the terminal together.
#ifndef PLC_COMMANDS_LIVE_SCREEN_H
#define PLC_COMMANDS_LIVE_SCREEN_H

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/commands/command_options.h"
#include "host/commands/panel_line.h"
#include "host/project/scan_monitor.h"
#include "host/runtime_names.h"
#include "host/screen/painter.h"
#include "host/screen/reply_times.h"
#include "host/screen/screen_model.h"
#include "host/screen/screen_source.h"

namespace plc::host {

/// Lines that have to wait until the terminal is free: the newest ones.
class KeptLines
{
public:
    void add(const std::string &line);
    /// All of them with their ends, and how many were dropped.
    std::string take();

private:
    static constexpr std::size_t kMost = 1000;

    std::deque<std::string> lines_;
    std::size_t dropped_ = 0;
};

/// From begin() to end() the terminal is the screen's. What is told meanwhile is shown on it, and goes to
/// standard error when it has ended; where standard error is no terminal, at once.
class LiveScreen : public ScreenSource
{
public:
    /// True where the command is to have a screen: for people, on a terminal that can show it.
    static bool isWanted(const OutputOptions &options, bool plain);

    /// What the screen shows; all of it outlives this object, and does not change.
    struct Content
    {
        const char *command; ///< "plchost watch"
        const LinkSettings &link;
        const std::vector<Variable> &variables;
        const std::vector<VariableId> &ids;
        NumberStyle style;
        bool takesOrders;
        bool traces; ///< from the beginning
    };
    LiveScreen(const Content &content, PanelLine &line, const ScanMonitor &monitor);
    ~LiveScreen() override;

    /// Takes the terminal.
    void begin();
    /// Waits for keys until @p until, obeys them, and draws what is to be seen now.
    /// @return orders that were typed.
    std::vector<std::string> turn(Time until);
    /// The user wants to end.
    bool isOver() const { return isOver_; }
    /// Gives the terminal back. What was to be seen of the values goes to standard output, and what was told
    /// to standard error.
    void end();

    /// A line for people that otherwise goes to standard error.
    void tell(const std::string &line);
    /// The same of a line that otherwise goes to standard output.
    void report(const std::string &line);
    void trace(const std::string &line);
    /// What an order that is open writes to a variable stands in its state; empty for no order.
    void showWriting(int number, const std::string &values);
    void note(const News &news) { replyTimes_.note(news); }
    /// As ScreenModel::showPage().
    void showPage(int page) { model_.showPage(page); }

    int count() const override { return static_cast<int>(content_.variables.size()); }
    const Variable &variable(int number) const override;
    int station(int number) const override;
    Reading reading(int number) const override;
    LineFigures figures() const override;

private:
    void take(const Wish &wish, std::vector<std::string> *orders);
    void draw();

    Content content_;
    PanelLine &line_;
    const ScanMonitor &monitor_;
    ReplyTimes replyTimes_;
    ScreenModel model_;
    std::unique_ptr<Painter> painter_;
    std::map<int, std::string> writing_; ///< by variable
    KeptLines told_;                     ///< for standard error
    KeptLines reported_;                 ///< for standard output
    Time nextDraw_{};
    bool isSpoilt_ = true; ///< something has changed that is to be seen at once
    bool isOver_ = false;
};

} // namespace plc::host

#endif
