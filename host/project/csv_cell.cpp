#include "host/project/csv_cell.h"

namespace plc::host {

std::string csvCell(const std::string &text)
{
    const bool hasBlankEnd = !text.empty() && (text.front() == ' ' || text.back() == ' ');
    if (!hasBlankEnd && text.find_first_of(",\"") == std::string::npos)
        return text;
    std::string result = "\"";
    for (const char letter : text)
        result += letter == '"' ? std::string("\"\"") : std::string(1, letter);
    return result + "\"";
}

} // namespace plc::host
