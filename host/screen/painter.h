/// @file
/// A picture on the terminal, and its keys, by ncurses.
#ifndef PLC_SCREEN_PAINTER_H
#define PLC_SCREEN_PAINTER_H

#include <vector>

#include "host/runtime_names.h"
#include "host/screen/key.h"
#include "host/screen/picture.h"
#include "runtime/line/link_time.h"

struct screen;

namespace plc::host {

/// Has the terminal of standard input and output while it lives. The terminal is as it was afterwards, also
/// where a signal ends the program, but for SIGKILL. One at a time; not locked: one thread.
class Painter
{
public:
    /// True where standard input and output are terminals on which a cursor can be placed, as TERM says.
    static bool isPossible();

    /// @throw Failure  (wrong usage) where the terminal turns out not to be one.
    Painter();
    ~Painter();
    Painter(const Painter &) = delete;
    Painter &operator=(const Painter &) = delete;

    int width() const;
    int height() const;
    void draw(const Picture &picture);
    /// Draws everything anew with the next draw().
    void forgetPicture();

    /// Waits for keys, at most for @p patience, and takes all that are there. A signal ends the wait.
    std::vector<Key> keys(Time patience);
    /// The terminal has gone: nobody sees anything any more.
    bool isGone() const { return isGone_; }

    /// Makes the terminal as it was. For signal handlers: calls only what they may.
    static void restoreInHandler();

private:
    ::screen *screen_ = nullptr; ///< ncurses' SCREEN
    bool hasColours_ = false;
    bool isGone_ = false;
};

} // namespace plc::host

#endif
