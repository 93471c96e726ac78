/// @file
/// JSON text, read by its rules (RFC 8259) and no others.
#ifndef PLC_CLI_STRICT_JSON_H
#define PLC_CLI_STRICT_JSON_H

#include <json/value.h>

#include <cstddef>
#include <string>

namespace plc::cli {

/// Thrown where a text is no JSON.
struct JsonFault
{
    std::size_t offset; ///< of the mistake, in bytes from the start of the text
    std::string what;
};

/// @throw JsonFault  at the first character of @p text that is not UTF-8.
void refuseBadUtf8(const std::string &text);

/// Reads @p text. Its root is an object or a list, a key stands once in an object, and brackets nest at most
/// 100 deep. Each value of the result knows its offset in @p text.
/// @param text  without a byte order mark.
/// @throw JsonFault  at the first mistake; nothing of JsonCpp's is ever thrown.
Json::Value parseStrictJson(const std::string &text);

} // namespace plc::cli

#endif
