#include "host/screen/painter.h"

#include "host/screen/text_columns.h"
#include "runtime/line/failure.h"

// The wide half of ncurses writes characters, the other bytes. Its macros have names such as move and
// columns.
#ifndef NCURSES_WIDECHAR
#define NCURSES_WIDECHAR 1
#endif
#define NCURSES_NOMACROS 1
#include <curses.h>
#include <fcntl.h>
#include <poll.h>
#include <term.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string>

#undef columns
#undef lines

namespace plc::host {

namespace {

constexpr int kEscapeDelayMs = 25; ///< a terminal sends the rest of a key's sequence sooner than that
constexpr short kBadPair = 1;
constexpr short kDoubtfulPair = 2;

/// What a signal handler needs to leave the terminal as it was.
struct Restoration
{
    volatile std::sig_atomic_t isWanted = 0;
    termios mode{};
    std::array<char, 256> text{};
    std::size_t length = 0;
};
Restoration restoration;

// Those that end a program and that nobody else has asked for. SIGINT and SIGTERM are asked for elsewhere.
constexpr int kEnds[] = {SIGQUIT, SIGABRT, SIGSEGV, SIGBUS,  SIGFPE,
                         SIGILL,  SIGSYS,  SIGXCPU, SIGALRM, SIGPIPE};

void endWith(int number)
{
    Painter::restoreInHandler();
    std::signal(number, SIG_DFL);
    std::raise(number);
}

void addCapability(const char *name)
{
    const char *const text = tigetstr(const_cast<char *>(name));
    if (!text || text == reinterpret_cast<char *>(-1))
        return;
    const std::size_t length = std::strlen(text);
    if (restoration.length + length > restoration.text.size())
        return;
    std::memcpy(restoration.text.data() + restoration.length, text, length);
    restoration.length += length;
}

void prepareRestoration()
{
    restoration.length = 0;
    for (const char *name : {"sgr0", "cnorm", "rmkx", "rmcup"})
        addCapability(name);
    restoration.isWanted = 1;
}

/// Where @p from handles a signal that ends the program, @p to does now.
void replaceHandlers(void (*from)(int), void (*to)(int))
{
    for (const int number : kEnds) {
        struct sigaction action
        {};
        if (sigaction(number, nullptr, &action) == 0 && action.sa_handler == from)
            std::signal(number, to);
    }
}

Key keyOf(wint_t code, bool isFunctionKey)
{
    if (!isFunctionKey) {
        switch (code) {
        case L'\r':
        case L'\n':
            return {Key::Kind::Enter};
        case 0x1B:
            return {Key::Kind::Escape};
        case 0x08:
        case 0x7F:
            return {Key::Kind::Backspace};
        case 0x0C:
            return {Key::Kind::Redraw};
        default:
            return characterKey(static_cast<char32_t>(code));
        }
    }
    switch (code) {
    case KEY_UP:
        return {Key::Kind::Up};
    case KEY_DOWN:
        return {Key::Kind::Down};
    case KEY_LEFT:
        return {Key::Kind::Left};
    case KEY_RIGHT:
        return {Key::Kind::Right};
    case KEY_PPAGE:
        return {Key::Kind::PageUp};
    case KEY_NPAGE:
        return {Key::Kind::PageDown};
    case KEY_HOME:
        return {Key::Kind::Home};
    case KEY_END:
        return {Key::Kind::End};
    case KEY_ENTER:
        return {Key::Kind::Enter};
    case KEY_BACKSPACE:
        return {Key::Kind::Backspace};
    case KEY_DC:
        return {Key::Kind::Delete};
    case KEY_F(1):
        return {Key::Kind::Help};
    case KEY_RESIZE:
        return {Key::Kind::Resize};
    default:
        return {};
    }
}

std::wstring wide(const std::string &utf8)
{
    std::wstring text(utf8.size(), L'\0');
    const std::size_t length = std::mbstowcs(text.data(), utf8.c_str(), text.size());
    return length == static_cast<std::size_t>(-1) ? L"?" : text.substr(0, length);
}

attr_t attributesOf(const Style &style, bool hasColours)
{
    attr_t attributes = A_NORMAL;
    if (style.isBold)
        attributes |= A_BOLD;
    if (style.isReversed)
        attributes |= A_REVERSE;
    const bool isMarked = style.health == Health::Bad || style.health == Health::Doubtful;
    // Without colours what is bad is bold.
    if (isMarked && !hasColours)
        attributes |= A_BOLD;
    return attributes;
}

short pairOf(const Style &style, bool hasColours)
{
    if (!hasColours)
        return 0;
    return style.health == Health::Bad ? kBadPair : style.health == Health::Doubtful ? kDoubtfulPair : 0;
}

} // namespace

bool Painter::isPossible()
{
    if (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0)
        return false;
    int status = 0;
    if (setupterm(nullptr, STDOUT_FILENO, &status) != OK || status != 1)
        return false;
    const char *const place = tigetstr(const_cast<char *>("cup"));
    const bool hasPlace = place && place != reinterpret_cast<char *>(-1);
    del_curterm(cur_term);
    return hasPlace;
}

Painter::Painter()
{
    readyForScreen();
    tcgetattr(STDIN_FILENO, &restoration.mode);
    screen_ = newterm(nullptr, stdout, stdin);
    if (!screen_)
        throw Failure(FailureKind::Usage, "this terminal cannot show the screen; --plain prints lines");
    prepareRestoration();
    replaceHandlers(SIG_DFL, endWith);
    cbreak();
    noecho();
    nonl();
    keypad(stdscr, TRUE);
    nodelay(stdscr, TRUE);
    set_escdelay(kEscapeDelayMs);
    curs_set(0);
    const char *const noColour = std::getenv("NO_COLOR");
    const bool isWanted = !noColour || *noColour == '\0';
    hasColours_ = isWanted && has_colors() && start_color() == OK && use_default_colors() == OK;
    if (hasColours_) {
        init_pair(kBadPair, COLOR_RED, -1);
        init_pair(kDoubtfulPair, COLOR_YELLOW, -1);
    }
}

Painter::~Painter()
{
    endwin();
    restoration.isWanted = 0;
    replaceHandlers(endWith, SIG_DFL);
    delscreen(screen_);
}

void Painter::restoreInHandler()
{
    if (restoration.isWanted == 0)
        return;
    restoration.isWanted = 0;
    // A terminal that was stopped (Ctrl-S), or that nobody reads, must not hold up the end.
    termios going = restoration.mode;
    going.c_iflag &= ~static_cast<tcflag_t>(IXON);
    tcsetattr(STDIN_FILENO, TCSANOW, &going);
    const int flags = fcntl(STDOUT_FILENO, F_GETFL);
    fcntl(STDOUT_FILENO, F_SETFL, flags | O_NONBLOCK);
    const ssize_t written = write(STDOUT_FILENO, restoration.text.data(), restoration.length);
    static_cast<void>(written);
    fcntl(STDOUT_FILENO, F_SETFL, flags);
    tcsetattr(STDIN_FILENO, TCSANOW, &restoration.mode);
}

int Painter::width() const
{
    return getmaxx(stdscr);
}

int Painter::height() const
{
    return getmaxy(stdscr);
}

void Painter::draw(const Picture &picture)
{
    erase();
    for (int row = 0; row < picture.height() && row < height(); ++row) {
        for (int column = 0; column < picture.width();) {
            const Style style = picture.at(row, column).style;
            const int from = column;
            std::string text;
            for (; column < picture.width() && picture.at(row, column).style == style; ++column)
                text += picture.at(row, column).text;
            const std::wstring shown = wide(text);
            attr_set(attributesOf(style, hasColours_), pairOf(style, hasColours_), nullptr);
            mvaddnwstr(row, from, shown.c_str(), static_cast<int>(shown.size()));
        }
    }
    attr_set(A_NORMAL, 0, nullptr);
    curs_set(picture.cursor ? 1 : 0);
    if (picture.cursor)
        move(picture.cursor->first, picture.cursor->second);
    refresh();
}

void Painter::forgetPicture()
{
    clearok(stdscr, TRUE);
}

std::vector<Key> Painter::keys(Time patience)
{
    pollfd waiting{STDIN_FILENO, POLLIN, 0};
    const timespec span{static_cast<time_t>(patience.count() / 1000000000),
                        static_cast<long>(patience.count() % 1000000000)};
    if (ppoll(&waiting, 1, &span, nullptr) < 0 && errno != EINTR)
        isGone_ = true;
    isGone_ = isGone_ || (waiting.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0;
    std::vector<Key> keys;
    wint_t code = 0;
    for (int kind = get_wch(&code); kind != ERR && !isGone_; kind = get_wch(&code))
        keys.push_back(keyOf(code, kind == KEY_CODE_YES));
    return keys;
}

} // namespace plc::host
