#include "host/project/located_json.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

#include "runtime/line/failure.h"

namespace plc::host {

namespace {

constexpr char kByteOrderMark[] = "\xEF\xBB\xBF";

bool isContinuation(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0u) == 0x80u;
}

/// The scalar that @p raw, a piece of a JSON text, stands for.
QJsonValue decoded(const QByteArray &raw)
{
    return QJsonDocument::fromJson("[" + raw + "]").array().at(0);
}

/// What may stand where Qt has given up.
std::string allowedAt(QJsonParseError::ParseError error)
{
    switch (error) {
    case QJsonParseError::UnterminatedObject:
        return "; a , or a } must stand here";
    case QJsonParseError::UnterminatedArray:
    case QJsonParseError::MissingValueSeparator:
        return "; a , or a ] must stand here";
    case QJsonParseError::MissingNameSeparator:
        return "; a : must stand between a key and its value";
    case QJsonParseError::IllegalValue:
    case QJsonParseError::MissingObject:
        return "; a value must stand here: a number, a \"text\", true, false, {...} or [...]";
    default:
        return "";
    }
}

/// Walks through a text that is known to be JSON.
class Walker
{
public:
    Walker(const std::string &file, const QByteArray &text) : file_(file), text_(text)
    {
        if (text.startsWith(kByteOrderMark))
            at_ = sizeof kByteOrderMark - 1;
    }

    LocatedValue value()
    {
        skipBlanks();
        LocatedValue result;
        result.place = place_;
        if (next() == '{')
            takeObject(&result);
        else if (next() == '[')
            takeArray(&result);
        else
            result.scalar = decoded(next() == '"' ? takeString() : takeWord());
        return result;
    }

    /// Goes on to the byte at @p offset.
    TextPlace placeOf(int offset)
    {
        while (at_ < std::min(offset, text_.size()))
            advance();
        return place_;
    }

private:
    char next() const { return at_ < text_.size() ? text_.at(at_) : '\0'; }

    void advance()
    {
        const char byte = next();
        ++at_;
        if (byte == '\n')
            place_ = {place_.line + 1, 1};
        else if (!isContinuation(next()))
            ++place_.column;
    }

    void skipBlanks()
    {
        while (next() == ' ' || next() == '\t' || next() == '\n' || next() == '\r')
            advance();
    }

    void takeObject(LocatedValue *object)
    {
        object->scalar = QJsonObject();
        advance();
        for (skipBlanks(); next() == '"'; skipBlanks()) {
            LocatedMember member;
            member.keyPlace = place_;
            member.key = decoded(takeString()).toString().toStdString();
            for (const LocatedMember &other : object->members) {
                if (other.key == member.key)
                    refuseAt(file_, member.keyPlace,
                             "'" + member.key + "' stands here a second time; it was given in line " +
                                 std::to_string(other.keyPlace.line));
            }
            skipBlanks();
            advance(); // the colon
            member.value = value();
            object->members.push_back(std::move(member));
            takeComma();
        }
        advance();
    }

    void takeArray(LocatedValue *array)
    {
        array->scalar = QJsonArray();
        advance();
        for (skipBlanks(); next() != ']' && next() != '\0'; skipBlanks()) {
            array->items.push_back(value());
            takeComma();
        }
        advance();
    }

    void takeComma()
    {
        skipBlanks();
        if (next() == ',')
            advance();
    }

    QByteArray takeString()
    {
        const int from = at_;
        advance();
        while (next() != '"' && next() != '\0') {
            if (next() == '\\')
                advance();
            advance();
        }
        advance();
        return text_.mid(from, at_ - from);
    }

    QByteArray takeWord()
    {
        const int from = at_;
        while (next() != '\0' && !QByteArray(",]} \t\r\n").contains(next()))
            advance();
        return text_.mid(from, at_ - from);
    }

    const std::string &file_;
    const QByteArray &text_;
    int at_ = 0;
    TextPlace place_;
};

/// Qt lets control characters pass that JSON does not allow (RFC 8259, 2 and 7), zero bytes too.
bool isForbidden(char byte)
{
    return static_cast<unsigned char>(byte) < 0x20 && byte != '\t' && byte != '\n' && byte != '\r';
}

} // namespace

void refuseAt(const std::string &file, TextPlace place, const std::string &what)
{
    throw Failure(FailureKind::Usage, file + ", line " + std::to_string(place.line) + ", column " +
                                          std::to_string(place.column) + ": " + what);
}

LocatedValue parseLocatedJson(const std::string &file, const QByteArray &text)
{
    const auto forbidden = std::find_if(text.begin(), text.end(), isForbidden);
    if (forbidden != text.end())
        refuseAt(file, Walker(file, text).placeOf(static_cast<int>(forbidden - text.begin())),
                 "this is no JSON: a control character; write it as \\u00XX");
    QJsonParseError error;
    QJsonDocument::fromJson(text, &error);
    if (error.error != QJsonParseError::NoError)
        refuseAt(file, Walker(file, text).placeOf(error.offset),
                 "this is no JSON: " + error.errorString().toStdString() + allowedAt(error.error));
    return Walker(file, text).value();
}

} // namespace plc::host
