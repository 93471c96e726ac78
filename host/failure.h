/// @file
/// How the host ends when something is wrong: one line for people and an exit code for scripts.
#ifndef PLC_HOST_FAILURE_H
#define PLC_HOST_FAILURE_H

#include <stdexcept>
#include <string>

namespace plc::host {

/// Exit codes of plchost, documented in its help.
enum ExitCode
{
    kExitGood = 0,
    kExitUsage = 1,
    kExitNoReply = 2,
    kExitException = 3,
    kExitUnusable = 4,
    kExitPort = 5,
    kExitMixed = 6
};

/// Texts of files and of other libraries may be quoted in a reason; on a terminal and in a log it is one line all the
/// same. Line ends become blanks, other control characters question marks.
inline std::string onOneLine(std::string text)
{
    for (char &letter : text) {
        if (letter == '\n' || letter == '\r')
            letter = ' ';
        else if (static_cast<unsigned char>(letter) < 0x20 || letter == '\x7F')
            letter = '?';
    }
    return text;
}

/// Thrown where a command cannot go on. The text says what is wrong, where, and what to try, in one line.
class Failure : public std::runtime_error
{
public:
    Failure(ExitCode code, const std::string &text) : std::runtime_error(onOneLine(text)), code_(code) {}
    ExitCode code() const { return code_; }

private:
    ExitCode code_;
};

} // namespace plc::host

#endif
