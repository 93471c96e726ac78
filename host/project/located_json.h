/// @file
/// Values that know where in a file they stand, so that its author can be shown a mistake.
#ifndef PLC_PROJECT_LOCATED_JSON_H
#define PLC_PROJECT_LOCATED_JSON_H

#include <json/value.h>

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

struct JsonMember
{
    std::string key;
    const Json::Value *value;
};

/// The members of @p object in the order of its text, so that the first mistake in it is the one told.
std::vector<JsonMember> membersInOrder(const Json::Value &object);

/// The text without the byte order mark that some editors put in front.
std::string withoutByteOrderMark(std::string text);

/// A text and what it says. The values that its functions take are those of root().
class LocatedJson
{
public:
    /// Reads JSON.
    /// @param file     how errors call the text.
    /// @throw Failure  (wrong usage) with line and column when the text is no JSON or has a key twice.
    LocatedJson(std::string file, std::string text);
    /// Takes what a text in another form than JSON says.
    /// @param text  without a byte order mark.
    /// @param root  each of its values has the offset of its place in @p text.
    LocatedJson(std::string file, std::string text, Json::Value root);

    const Json::Value &root() const { return root_; }
    TextPlace placeOf(const Json::Value &value) const;
    /// Its line alone, which is known at once; the column takes as long as the line is.
    int lineOf(const Json::Value &value) const;
    /// Line of the byte at @p offset of the text.
    int lineAt(std::size_t offset) const;

    /// Throws a Failure (wrong usage) "FILE, line L, column C: WHAT" with the place of @p value.
    [[noreturn]] void refuse(const Json::Value &value, const std::string &what) const;
    /// The same with the place of the key that stands in front of @p value, a member of an object.
    [[noreturn]] void refuseKey(const Json::Value &value, const std::string &what) const;
    /// The same with the place of the byte at @p offset of the text.
    [[noreturn]] void refuseAt(std::size_t offset, const std::string &what) const;

private:
    void noteLines();
    TextPlace placeAt(std::size_t offset) const;
    std::size_t keyOffset(const Json::Value &value) const;

    std::string file_;
    std::string text_;
    std::vector<std::size_t> lineStarts_;
    Json::Value root_;
};

} // namespace plc::host

#endif
