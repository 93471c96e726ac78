/// @file
/// A terminal with plchost on it: what stands on the screen, and keys.
#ifndef PLC_TESTS_SYSTEM_SCREEN_TERMINAL_H
#define PLC_TESTS_SYSTEM_SCREEN_TERMINAL_H

#include <sys/types.h>
#include <termios.h>
#include <vterm.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "programs.h"

namespace plc::test {

/// A colour of the terminal's sixteen; -1 for its usual one.
struct ScreenCell
{
    std::string text; ///< UTF-8; empty behind a wide character
    int colour = -1;
    bool isBold = false;
    bool isReversed = false;
};

/// A program whose standard input, output and error are a pseudo-terminal, and an emulator behind it.
class ScreenTerminal
{
public:
    struct Size
    {
        int width;
        int height;
    };
    /// @param environment  "NAME=VALUE", beside what the test has; TERM is xterm-256color without it.
    /// @param errors       file that gets standard error in place of the terminal; empty for none.
    ScreenTerminal(const Words &words, Size size, const Words &environment = {},
                   const std::string &errors = "");
    /// Kills the program where it still runs.
    ~ScreenTerminal();
    ScreenTerminal(const ScreenTerminal &) = delete;
    ScreenTerminal &operator=(const ScreenTerminal &) = delete;

    /// Takes what the program writes until @p isThere or the patience is over.
    bool await(const std::function<bool()> &isThere);
    /// Waits for a text on the screen.
    bool shows(const std::string &text);
    void type(const std::string &bytes);
    void resize(Size size);
    void signal(int number) const;
    /// Its exit code, 128 + number for a signal; nothing where it does not end. Takes the rest of its output.
    std::optional<int> end();

    /// The same; nothing where it has not ended within that time.
    std::optional<int> endWithin(int milliseconds);

    /// The rows as they stand there, without blanks at their ends.
    Words rows() const;
    std::string row(int number) const { return rows()[static_cast<std::size_t>(number)]; }
    /// All rows, a line each.
    std::string screen() const;
    ScreenCell cell(int row, int column) const;
    /// Row of the first line that has @p text; -1 for none.
    int rowOf(const std::string &text) const;
    int columnOf(int row, const std::string &text) const;

    /// The second screen, which leaves the first as it was.
    bool hasOwnScreen() const { return hasOwnScreen_; }
    bool isCursorVisible() const { return isCursorVisible_; }
    /// Lines are edited and shown by the terminal, as a shell wants it.
    bool isModeRestored() const;
    /// All bytes that the program has written.
    const std::string &output() const { return output_; }

private:
    bool take(int milliseconds);
    static int onProperty(VTermProp property, VTermValue *value, void *self);

    Size size_;
    int master_ = -1;
    int slave_ = -1; ///< kept open, so that what was written last is not lost
    pid_t pid_ = -1;
    termios before_{};
    VTerm *terminal_ = nullptr;
    VTermScreen *screen_ = nullptr;
    std::string output_;
    bool hasOwnScreen_ = false;
    bool isCursorVisible_ = true;
};

} // namespace plc::test

#endif
