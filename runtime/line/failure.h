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

/// Bytes of the control character at @p at of a text in UTF-8; 0 where another character is. A terminal obeys
/// those from 0x80 to 0x9F as well.
inline std::size_t controlBytesAt(const std::string &text, std::size_t at)
{
    const auto byte = static_cast<unsigned char>(text[at]);
    const unsigned next = at + 1 < text.size() ? static_cast<unsigned char>(text[at + 1]) : 0u;
    if (byte == 0xC2 && next >= 0x80 && next < 0xA0)
        return 2;
    return byte < 0x20 || byte == 0x7F ? 1 : 0;
}

/// A reason may quote texts of files and of other libraries, but takes one line on a terminal and in a log.
/// Line ends become blanks, other control characters question marks.
inline std::string onOneLine(const std::string &text)
{
    std::string line;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t bytes = controlBytesAt(text, at);
        if (bytes == 0)
            line += text[at];
        else
            line += text[at] == '\n' || text[at] == '\r' ? ' ' : '?';
        at += bytes > 1 ? bytes : 1;
    }
    return line;
}

inline bool hasControlCharacters(const std::string &text)
{
    return onOneLine(text) != text;
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
