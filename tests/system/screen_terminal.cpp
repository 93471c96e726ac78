#include "screen_terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>

#include <QString>

namespace plc::test {

namespace {

std::vector<char *> pointersTo(Words *words)
{
    std::vector<char *> pointers;
    for (std::string &word : *words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    return pointers;
}

/// Variables of the test, but those that say how a terminal is to be used, which are @p given or usual ones.
Words environmentWith(const Words &given)
{
    Words kept = given;
    for (char **entry = environ; *entry; ++entry) {
        const std::string name = std::string(*entry).substr(0, std::string(*entry).find('='));
        if (name != "TERM" && name != "NO_COLOR" && name != "LINES" && name != "COLUMNS" && name != "LC_ALL")
            kept.push_back(*entry);
    }
    for (const std::string usual : {"LC_ALL=C.UTF-8", "TERM=xterm-256color"}) {
        const std::string name = usual.substr(0, usual.find('=') + 1);
        const bool isGiven = std::any_of(given.begin(), given.end(), [&name](const std::string &entry) {
            return entry.compare(0, name.size(), name) == 0;
        });
        if (!isGiven)
            kept.push_back(usual);
    }
    return kept;
}

winsize windowOf(ScreenTerminal::Size size)
{
    return {static_cast<unsigned short>(size.height), static_cast<unsigned short>(size.width), 0, 0};
}

std::string utf8Of(const VTermScreenCell &cell)
{
    std::string text;
    for (const uint32_t code : cell.chars) {
        // The emulator fills the cell behind a wide character so.
        if (code == 0 || code == 0xFFFFFFFF)
            break;
        text += QString::fromUcs4(&code, 1).toStdString();
    }
    return text;
}

} // namespace

ScreenTerminal::ScreenTerminal(const Words &words, Size size, const Words &environment,
                               const std::string &errors)
    : size_(size), master_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)),
      terminal_(vterm_new(size.height, size.width)), screen_(vterm_obtain_screen(terminal_))
{
    static const VTermScreenCallbacks kCallbacks = [] {
        VTermScreenCallbacks callbacks{};
        callbacks.settermprop = onProperty;
        return callbacks;
    }();
    vterm_set_utf8(terminal_, 1);
    vterm_screen_set_callbacks(screen_, &kCallbacks, this);
    vterm_screen_enable_altscreen(screen_, 1);
    vterm_screen_reset(screen_, 1);
    if (grantpt(master_) != 0 || unlockpt(master_) != 0)
        throw std::runtime_error("no pseudo-terminal");
    const std::string name = ptsname(master_);
    slave_ = open(name.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    tcgetattr(slave_, &before_);
    const winsize window = windowOf(size);
    ioctl(master_, TIOCSWINSZ, &window);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    // The first terminal that a new session opens is its own, so that the system tells it of changes.
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, name.c_str(), O_RDWR, 0);
    posix_spawn_file_actions_adddup2(&actions, STDIN_FILENO, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, STDIN_FILENO, STDERR_FILENO);
    if (!errors.empty())
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errors.c_str(), O_WRONLY | O_APPEND, 0);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
    Words program = Words{PLC_HOST_PROGRAM} + words;
    Words variables = environmentWith(environment);
    const int error = posix_spawn(&pid_, PLC_HOST_PROGRAM, &actions, &attributes, pointersTo(&program).data(),
                                  pointersTo(&variables).data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        throw std::runtime_error("plchost cannot be started");
}

ScreenTerminal::~ScreenTerminal()
{
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    close(slave_);
    close(master_);
    vterm_free(terminal_);
}

int ScreenTerminal::onProperty(VTermProp property, VTermValue *value, void *self)
{
    if (property == VTERM_PROP_ALTSCREEN)
        static_cast<ScreenTerminal *>(self)->hasOwnScreen_ = value->boolean != 0;
    if (property == VTERM_PROP_CURSORVISIBLE)
        static_cast<ScreenTerminal *>(self)->isCursorVisible_ = value->boolean != 0;
    return 1;
}

bool ScreenTerminal::take(int milliseconds)
{
    pollfd polled{master_, POLLIN, 0};
    if (poll(&polled, 1, milliseconds) <= 0)
        return false;
    char bytes[4096];
    const ssize_t length = read(master_, bytes, sizeof bytes);
    if (length <= 0)
        return false;
    output_.append(bytes, static_cast<std::size_t>(length));
    vterm_input_write(terminal_, bytes, static_cast<std::size_t>(length));
    return true;
}

bool ScreenTerminal::await(const std::function<bool()> &isThere)
{
    const auto limit = host::steadyNow() + kPatience;
    while (!isThere()) {
        if (host::steadyNow() >= limit) {
            ADD_FAILURE() << "it never comes; on the screen stands:\n" << screen();
            return false;
        }
        take(200);
    }
    return true;
}

bool ScreenTerminal::shows(const std::string &text)
{
    return await([&] { return screen().find(text) != std::string::npos; });
}

void ScreenTerminal::type(const std::string &bytes)
{
    EXPECT_EQ(static_cast<ssize_t>(bytes.size()), write(master_, bytes.data(), bytes.size()));
}

void ScreenTerminal::resize(Size size)
{
    size_ = size;
    vterm_set_size(terminal_, size.height, size.width);
    const winsize window = windowOf(size);
    ioctl(master_, TIOCSWINSZ, &window);
}

void ScreenTerminal::signal(int number) const
{
    kill(pid_, number);
}

std::optional<int> ScreenTerminal::end()
{
    return endWithin(
        static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(kPatience).count()));
}

std::optional<int> ScreenTerminal::endWithin(int milliseconds)
{
    const auto limit = host::steadyNow() + std::chrono::milliseconds(milliseconds);
    int status = 0;
    while (waitpid(pid_, &status, WNOHANG) != pid_) {
        if (host::steadyNow() >= limit)
            return std::nullopt;
        take(10);
    }
    pid_ = -1;
    while (take(0)) {
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

ScreenCell ScreenTerminal::cell(int row, int column) const
{
    VTermScreenCell found{};
    vterm_screen_get_cell(screen_, {row, column}, &found);
    ScreenCell cell;
    cell.text = utf8Of(found);
    const bool isUsual = VTERM_COLOR_IS_DEFAULT_FG(&found.fg);
    cell.colour = !isUsual && VTERM_COLOR_IS_INDEXED(&found.fg) ? found.fg.indexed.idx : -1;
    cell.isBold = found.attrs.bold != 0;
    cell.isReversed = found.attrs.reverse != 0;
    return cell;
}

Words ScreenTerminal::rows() const
{
    Words lines;
    for (int row = 0; row < size_.height; ++row) {
        std::string line;
        for (int column = 0; column < size_.width; ++column) {
            VTermScreenCell found{};
            vterm_screen_get_cell(screen_, {row, column}, &found);
            const std::string text = utf8Of(found);
            line += text.empty() ? " " : text;
            column += found.width > 1 ? found.width - 1 : 0;
        }
        lines.push_back(line.substr(0, line.find_last_not_of(' ') + 1));
    }
    return lines;
}

std::string ScreenTerminal::screen() const
{
    std::string text;
    for (const std::string &line : rows())
        text += line + "\n";
    return text;
}

int ScreenTerminal::rowOf(const std::string &text) const
{
    const Words lines = rows();
    for (std::size_t row = 0; row < lines.size(); ++row) {
        if (lines[row].find(text) != std::string::npos)
            return static_cast<int>(row);
    }
    return -1;
}

int ScreenTerminal::columnOf(int row, const std::string &text) const
{
    for (int column = 0; column < size_.width; ++column) {
        std::string found;
        for (int i = column; i < size_.width && found.size() < text.size(); ++i)
            found += cell(row, i).text.empty() ? " " : cell(row, i).text;
        if (found == text)
            return column;
    }
    return -1;
}

bool ScreenTerminal::isModeRestored() const
{
    termios now{};
    tcgetattr(slave_, &now);
    return now.c_lflag == before_.c_lflag && now.c_iflag == before_.c_iflag && now.c_oflag == before_.c_oflag;
}

} // namespace plc::test
