/// @file
/// JSON whose values know where in the text they stand, so that a mistake in a file can be shown to its
/// author.
#ifndef PLC_PROJECT_LOCATED_JSON_H
#define PLC_PROJECT_LOCATED_JSON_H

#include <QByteArray>
#include <QJsonValue>

#include <string>
#include <vector>

#include "host/runtime_names.h"

namespace plc::host {

/// A place in a text, both counted from 1; a column is a character, however many bytes it has.
struct TextPlace
{
    int line = 1;
    int column = 1;
};

struct LocatedMember;

/// One value of a JSON text.
struct LocatedValue
{
    TextPlace place;
    QJsonValue scalar; ///< null, a boolean, a number or a string; otherwise only its type counts
    std::vector<LocatedMember> members; ///< of an object, in the order of the text
    std::vector<LocatedValue> items;    ///< of an array

    QJsonValue::Type type() const { return scalar.type(); }
};

struct LocatedMember
{
    std::string key;
    TextPlace keyPlace;
    LocatedValue value;
};

/// Throws a Failure (wrong usage) "FILE, line L, column C: WHAT".
[[noreturn]] void refuseAt(const std::string &file, TextPlace place, const std::string &what);

/// Reads JSON.
/// @param file     how errors call the text.
/// @throw Failure  (wrong usage) with line and column when the text is no JSON, or an object has a key twice.
LocatedValue parseLocatedJson(const std::string &file, const QByteArray &text);

} // namespace plc::host

#endif
