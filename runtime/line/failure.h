/// @file
/// How a call ends that cannot do what it was asked for: a kind for programs and one line for people.
#ifndef PLC_LINE_FAILURE_H
#define PLC_LINE_FAILURE_H

#include <stdexcept>
#include <string>

namespace plc::runtime {

/// What has to change before the same call can succeed.
enum class FailureKind
{
    Usage,   ///< what was asked for
    Port,    ///< the port
    NoReply, ///< the stations
    Driver   ///< the file of the driver, or who else uses it
};

/// A reason may quote texts of files and of other libraries, but takes one line on a terminal and in a log.
/// Line ends become blanks, other control characters question marks.
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

/// The text says what is wrong, where, and what to try, in one line.
class Failure : public std::runtime_error
{
public:
    Failure(FailureKind kind, const std::string &text) : std::runtime_error(onOneLine(text)), kind_(kind) {}
    FailureKind kind() const { return kind_; }

private:
    FailureKind kind_;
};

/// No device stands behind the name of a port: it is not plugged in.
class PortAbsent : public Failure
{
public:
    explicit PortAbsent(const std::string &text) : Failure(FailureKind::Port, text) {}
};

} // namespace plc::runtime

#endif
