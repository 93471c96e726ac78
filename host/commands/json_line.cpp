#include "host/commands/json_line.h"

#include <cstdio>

#include "runtime/line/failure.h"

namespace plc::host {

namespace {

std::string escapedInJson(unsigned code)
{
    char text[8];
    std::snprintf(text, sizeof text, "\\u%04x", code);
    return text;
}

} // namespace

std::string inJson(const std::string &text)
{
    std::string result = "\"";
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::size_t controlBytes = controlBytesAt(text, i);
        if (controlBytes > 0) {
            i += controlBytes - 1;
            result += escapedInJson(static_cast<unsigned char>(text[i]));
            continue;
        }
        if (text[i] == '"' || text[i] == '\\')
            result += '\\';
        result += text[i];
    }
    return result + "\"";
}

JsonLine &JsonLine::decimal(const char *name, double value, int digits)
{
    char text[48];
    std::snprintf(text, sizeof text, "%.*f", digits, value);
    return raw(name, text);
}

JsonLine &JsonLine::raw(const char *name, const std::string &json)
{
    members_ += (members_.empty() ? "\"" : ",\"") + std::string(name) + "\":" + json;
    return *this;
}

} // namespace plc::host
