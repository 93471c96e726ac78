#include "host/project/located_json.h"

#include <algorithm>

#include "cli/strict_json.h"
#include "runtime/line/failure.h"
#include "runtime/panel/utf8.h"

namespace plc::host {

namespace {

constexpr char kByteOrderMark[] = "\xEF\xBB\xBF";

} // namespace

std::vector<JsonMember> membersInOrder(const Json::Value &object)
{
    std::vector<JsonMember> members;
    for (auto member = object.begin(); member != object.end(); ++member)
        members.push_back({member.name(), &*member});
    std::sort(members.begin(), members.end(), [](const JsonMember &one, const JsonMember &other) {
        return one.value->getOffsetStart() < other.value->getOffsetStart();
    });
    return members;
}

std::string withoutByteOrderMark(std::string text)
{
    if (text.compare(0, sizeof kByteOrderMark - 1, kByteOrderMark) == 0)
        text.erase(0, sizeof kByteOrderMark - 1);
    return text;
}

LocatedJson::LocatedJson(std::string file, std::string text)
    : LocatedJson(std::move(file), withoutByteOrderMark(std::move(text)), Json::Value())
{
    try {
        root_ = cli::parseStrictJson(text_);
    } catch (const cli::JsonFault &fault) {
        refuseAt(fault.offset, "this is no JSON: " + fault.what);
    }
}

LocatedJson::LocatedJson(std::string file, std::string text, Json::Value root)
    : file_(std::move(file)), text_(std::move(text)), root_(std::move(root))
{
    noteLines();
}

TextPlace LocatedJson::placeOf(const Json::Value &value) const
{
    return placeAt(static_cast<std::size_t>(value.getOffsetStart()));
}

void LocatedJson::refuse(const Json::Value &value, const std::string &what) const
{
    refuseAt(static_cast<std::size_t>(value.getOffsetStart()), what);
}

void LocatedJson::refuseKey(const Json::Value &value, const std::string &what) const
{
    refuseAt(keyOffset(value), what);
}

void LocatedJson::noteLines()
{
    lineStarts_.push_back(0);
    for (std::size_t i = 0; i < text_.size(); ++i) {
        if (text_[i] == '\n')
            lineStarts_.push_back(i + 1);
    }
}

int LocatedJson::lineAt(std::size_t offset) const
{
    const auto next = std::upper_bound(lineStarts_.begin(), lineStarts_.end(), offset);
    return static_cast<int>(next - lineStarts_.begin());
}

int LocatedJson::lineOf(const Json::Value &value) const
{
    return lineAt(static_cast<std::size_t>(value.getOffsetStart()));
}

TextPlace LocatedJson::placeAt(std::size_t offset) const
{
    const int line = lineAt(offset);
    const auto start = lineStarts_[static_cast<std::size_t>(line) - 1];
    const auto from = text_.begin() + static_cast<std::ptrdiff_t>(start);
    const auto to = text_.begin() + static_cast<std::ptrdiff_t>(std::min(offset, text_.size()));
    return {line, static_cast<int>(std::count_if(from, to, beginsCharacter)) + 1};
}

/// JsonCpp keeps no offsets of keys, but between a key and its value stand only blanks and a colon.
std::size_t LocatedJson::keyOffset(const Json::Value &value) const
{
    const std::size_t end = text_.rfind('"', static_cast<std::size_t>(value.getOffsetStart()) - 1);
    std::size_t start = end;
    bool isEscaped = true;
    while (isEscaped) {
        start = text_.rfind('"', start - 1);
        // In front of a quotation mark inside the key stands an odd number of backslashes.
        const std::size_t other = text_.find_last_not_of('\\', start - 1);
        isEscaped = (start - 1 - other) % 2 == 1;
    }
    return start;
}

void LocatedJson::refuseAt(std::size_t offset, const std::string &what) const
{
    const TextPlace place = placeAt(offset);
    throw Failure(FailureKind::Usage, file_ + ", line " + std::to_string(place.line) + ", column " +
                                          std::to_string(place.column) + ": " + what);
}

} // namespace plc::host
