/// @file
/// Who has ordered which write, and what has become of it.
#ifndef PLC_COMMANDS_AUDIT_H
#define PLC_COMMANDS_AUDIT_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "host/commands/appended_file.h"
#include "host/commands/output.h"
#include "host/runtime_names.h"

namespace plc::host {

/// Appends a line to the file of --audit before a write is ordered, and another at its end. An order whose
/// line cannot be written must not be given. Does nothing where no file is named. One thread.
class Audit
{
public:
    /// @param path  empty: no audit.
    /// @param port  that the orders go to.
    /// @throw Failure  (wrong usage) where the file cannot be opened.
    Audit(const std::string &path, std::string port);
    /// Orders whose end nobody has told get one: it is not known what has become of them.
    ~Audit();
    Audit(const Audit &) = delete;
    Audit &operator=(const Audit &) = delete;

    /// @param row  the write: variable, station and values.
    /// @return a number for end().
    /// @throw Failure  (wrong usage) where it cannot be written.
    std::uint64_t order(const Row &row);
    /// @param row  how the write has ended, with the time of its end.
    void end(std::uint64_t number, Row row);

private:
    std::optional<AppendedFile> file_;
    const std::string port_;
    const std::string user_;
    std::uint64_t orders_ = 0;
    std::map<std::uint64_t, Row> open_;
    bool failureTold_ = false;
};

} // namespace plc::host

#endif
