/// @file
/// JSON text, read by its rules (RFC 8259) and no others.
#ifndef PLC_STATION_STRICT_JSON_H
#define PLC_STATION_STRICT_JSON_H

#include <json/value.h>

#include <cstddef>
#include <string>

namespace plc::station {

/// Thrown where a text is no JSON.
struct JsonFault
{
    std::size_t offset; ///< of the mistake, in bytes from the start of the text
    std::string what;
};

/// Reads @p text. Its root is an object or a list, a key stands once in an object, and brackets nest at most
/// 100 deep. Each value of the result knows its offset in @p text.
/// @param text  without a byte order mark.
/// @throw JsonFault  at the first mistake; nothing of JsonCpp's is ever thrown.
Json::Value parseStrictJson(const std::string &text);

} // namespace plc::station

#endif
