/// @file
/// A file to which lines are appended, each by one call of the system.
#ifndef PLC_COMMANDS_APPENDED_FILE_H
#define PLC_COMMANDS_APPENDED_FILE_H

#include <functional>
#include <string>

#include "host/runtime_names.h"

namespace plc::host {

/// Several programs may append to the same file. Not locked: one thread.
class AppendedFile
{
public:
    /// Opens the file, or makes it.
    /// @throw Failure  (wrong usage) where that cannot be; of a pipe also where nobody reads it.
    AppendedFile(std::string path, const char *option);
    ~AppendedFile();
    AppendedFile(const AppendedFile &) = delete;
    AppendedFile &operator=(const AppendedFile &) = delete;

    const std::string &path() const { return path_; }

    /// Appends a line.
    /// @param line    without its end.
    /// @param giveUp  asked over and over while a pipe is full: true ends the wait; null: the wait has no
    /// end.
    /// @return 0, or the errno of the failure, EAGAIN where the wait was given up; then a part of the line
    /// may stand there.
    int append(const std::string &line, const std::function<bool()> &giveUp = nullptr);

    /// Opens the path again, where another file may stand by now.
    /// @return 0, or the errno of the failure; then lines go on to the file that was open.
    int reopen();

private:
    std::string path_;
    int descriptor_ = -1;
    bool isCut_ = false; ///< the last line has no end
};

} // namespace plc::host

#endif
