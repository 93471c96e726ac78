#include "cli/strict_json.h"

#include <json/reader.h>

#include <QString>

#include <algorithm>
#include <charconv>
#include <memory>
#include <sstream>
#include <string_view>

namespace plc::cli {

namespace {

constexpr int kDeepest = 100;

bool isDigit(char letter)
{
    return letter >= '0' && letter <= '9';
}

bool isContinuation(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0u) == 0x80u;
}

/// JSON has no zero byte and no other control character, not even inside a text.
bool isForbidden(char byte)
{
    return static_cast<unsigned char>(byte) < 0x20 && byte != '\t' && byte != '\n' && byte != '\r';
}

void refuseControlCharacters(const std::string &text)
{
    const auto found = std::find_if(text.begin(), text.end(), isForbidden);
    if (found != text.end())
        throw JsonFault{static_cast<std::size_t>(found - text.begin()),
                        "a control character; write it as \\u00XX"};
}

/// Whether @p word is a number as JSON writes it, and one that a double can hold.
bool isNumber(std::string_view word)
{
    std::size_t at = 0;
    const auto passDigits = [&] {
        const std::size_t from = at;
        while (at < word.size() && isDigit(word[at]))
            ++at;
        return at - from;
    };
    const auto passAnyOf = [&](std::string_view letters) {
        const bool found = at < word.size() && letters.find(word[at]) != std::string_view::npos;
        at += found ? 1 : 0;
        return found;
    };
    passAnyOf("-");
    const bool startsWithZero = at < word.size() && word[at] == '0';
    const std::size_t digits = passDigits();
    if (digits == 0 || (startsWithZero && digits > 1))
        return false;
    if (passAnyOf(".") && passDigits() == 0)
        return false;
    if (passAnyOf("eE")) {
        passAnyOf("+-");
        if (passDigits() == 0)
            return false;
    }
    double value = 0;
    return at == word.size() &&
           std::from_chars(word.data(), word.data() + word.size(), value).ec == std::errc();
}

/// Finds what JsonCpp lets pass although JSON does not know it: comments behind a value, numbers such as 01
/// and +1, a comma behind a last member, halves of surrogate pairs; and brackets that nest too deep, whose
/// place JsonCpp does not tell.
class Scan
{
public:
    explicit Scan(std::string_view text) : text_(text) {}

    void run()
    {
        while (at_ < text_.size()) {
            const char next = text_[at_];
            if (next == '"')
                passText();
            else if (next == '-' || next == '+' || isDigit(next))
                passNumber();
            else
                passMark(next);
        }
    }

private:
    void passMark(char mark)
    {
        if (mark == '/')
            refuse("JSON has no comments");
        if ((mark == '{' || mark == '[') && ++depth_ > kDeepest)
            refuse("brackets nest more than " + std::to_string(kDeepest) + " deep");
        if (mark == '}' || mark == ']') {
            --depth_;
            if (before_ == ',')
                refuse("something must stand behind the last ,");
        }
        if (mark != ' ' && mark != '\t' && mark != '\n' && mark != '\r')
            before_ = mark;
        ++at_;
    }

    void passText()
    {
        for (++at_; at_ < text_.size() && text_[at_] != '"';) {
            if (text_[at_] == '\\')
                passEscape();
            else
                ++at_;
        }
        ++at_;
        before_ = '"';
    }

    void passEscape()
    {
        const unsigned code = escapedCode(at_);
        const bool isPair = isHalf(code, 0xD800) && isHalf(escapedCode(at_ + 6), 0xDC00);
        if (!isPair && (isHalf(code, 0xD800) || isHalf(code, 0xDC00)))
            refuse("half of a surrogate pair");
        at_ += isPair ? 12 : 2;
    }

    void passNumber()
    {
        std::size_t end = text_.find_first_not_of("+-.0123456789eE", at_);
        end = std::min(end, text_.size());
        if (!isNumber(text_.substr(at_, end - at_)))
            refuse("this is no number, or one that is out of range");
        at_ = end;
        before_ = '0';
    }

    static bool isHalf(unsigned code, unsigned first) { return (code & 0xFC00u) == first; }

    /// The number of "\uXXXX" at @p at, 0 where there is none.
    unsigned escapedCode(std::size_t at) const
    {
        if (at >= text_.size() || text_.substr(at, 2) != "\\u")
            return 0;
        const std::string_view digits = text_.substr(at + 2, 4);
        unsigned code = 0;
        std::from_chars(digits.data(), digits.data() + digits.size(), code, 16);
        return code;
    }

    [[noreturn]] void refuse(const std::string &what) const { throw JsonFault{at_, what}; }

    std::string_view text_;
    std::size_t at_ = 0;
    int depth_ = 0;
    char before_ = '\0'; ///< the last character outside of texts that is no blank
};

/// @param line, column  as JsonCpp counts them: columns in bytes, and \r ends a line as well.
std::size_t offsetOf(const std::string &text, int line, int column)
{
    std::size_t start = 0;
    for (; line > 1; --line) {
        const std::size_t end = text.find_first_of("\r\n", start);
        if (end == std::string::npos)
            break;
        start = end + (text.compare(end, 2, "\r\n") == 0 ? 2 : 1);
    }
    return std::min(start + static_cast<std::size_t>(std::max(column, 1)) - 1, text.size());
}

/// @param report  "* Line 3, Column 7", and in the next line, indented, what is wrong; others may follow.
JsonFault firstOf(const std::string &report, const std::string &text)
{
    std::istringstream words(report);
    std::string word;
    char mark = '\0';
    int line = 1;
    int column = 1;
    std::string what;
    words >> mark >> word >> line >> mark >> word >> column >> std::ws;
    std::getline(words, what);
    // The report repeats the key, line ends and all.
    if (what.rfind("Duplicate key", 0) == 0)
        what = "this key stands here a second time";
    return {offsetOf(text, line, column), what};
}

} // namespace

void refuseBadUtf8(const std::string &text)
{
    // What is no UTF-8 comes back as a replacement character, which differs from it.
    const std::string again = QString::fromStdString(text).toStdString();
    auto differs = std::mismatch(text.begin(), text.end(), again.begin(), again.end()).second;
    if (again == text)
        return;
    while (differs != again.begin() && differs != again.end() && isContinuation(*differs))
        --differs;
    throw JsonFault{static_cast<std::size_t>(differs - again.begin()), "this character is not UTF-8"};
}

Json::Value parseStrictJson(const std::string &text)
{
    refuseControlCharacters(text);
    refuseBadUtf8(text);
    Scan(text).run();
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    Json::Value root;
    std::string report;
    try {
        const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
        if (reader->parse(text.data(), text.data() + text.size(), &root, &report))
            return root;
    } catch (const Json::Exception &exception) {
        throw JsonFault{0, exception.what()};
    }
    throw firstOf(report, text);
}

} // namespace plc::cli
