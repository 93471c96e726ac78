/// @file
/// JSON for programs, an object on a line. Qt's own has numbers of 53 bits and sorts the members.
#ifndef PLC_COMMANDS_JSON_LINE_H
#define PLC_COMMANDS_JSON_LINE_H

#include <string>

#include "host/runtime_names.h"

namespace plc::host {

/// The text in quotation marks, as JSON has it.
std::string inJson(const std::string &text);

/// An object of JSON; members stand in the order in which they are added.
class JsonLine
{
public:
    /// A line of output begins with its kind.
    explicit JsonLine(const char *kind) { text("kind", kind); }
    JsonLine() = default;

    JsonLine &text(const char *name, const std::string &value) { return raw(name, inJson(value)); }
    JsonLine &flag(const char *name, bool value) { return raw(name, value ? "true" : "false"); }
    /// @param value  a whole number.
    template <typename Number>
    JsonLine &number(const char *name, Number value)
    {
        return raw(name, std::to_string(value));
    }
    /// @param digits  behind the point.
    JsonLine &decimal(const char *name, double value, int digits = 3);
    /// @param json  a value, as JSON has it.
    JsonLine &raw(const char *name, const std::string &json);

    /// "{...}", without the end of the line.
    std::string object() const { return "{" + members_ + "}"; }

private:
    std::string members_;
};

} // namespace plc::host

#endif
