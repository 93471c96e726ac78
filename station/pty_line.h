/// @file
/// The stations' end of a pseudo-terminal.
#ifndef PLC_STATION_PTY_LINE_H
#define PLC_STATION_PTY_LINE_H

#include "bytes.h"

#include <string>

namespace plc::station {

/// The stations' end of a pseudo-terminal. The other end is a path that any serial program can open, close
/// and open again.
class PtyLine
{
public:
    PtyLine() = default;
    ~PtyLine();
    PtyLine(const PtyLine &) = delete;
    PtyLine &operator=(const PtyLine &) = delete;

    /// Opens a new pseudo-terminal in raw mode: every byte passes unchanged in both directions, no echo.
    /// @return empty, or what went wrong
    std::string open();
    /// Makes @p path a symbolic link to path(); it is removed when this object goes. An old link is
    /// replaced when its terminal is gone or when it leads to path(), as that of a killed station may;
    /// anything else that stands there is left alone.
    /// @return empty, or what went wrong
    std::string linkAs(const std::string &path);

    /// The path for the master.
    const std::string &path() const { return path_; }
    /// The descriptor to poll for input.
    int descriptor() const { return master_; }

    /// What has arrived, possibly nothing. Never blocks.
    Bytes read();
    /// Sends bytes. What a full terminal does not take is lost, as on a wire at whose end nobody listens.
    /// @return number of bytes taken
    std::size_t write(const Bytes &bytes);
    /// Lets the next program open the terminal although the last one claimed it for itself and was killed.
    void endExclusiveUse();

private:
    int master_ = -1;
    int slave_ = -1; ///< kept open, so that the line outlives every client
    std::string path_;
    std::string link_;
};

} // namespace plc::station

#endif
