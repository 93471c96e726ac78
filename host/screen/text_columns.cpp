#include "host/screen/text_columns.h"

#include <langinfo.h>

#include <algorithm>
#include <clocale>
#include <cstring>
#include <cwchar>

#include "host/runtime_names.h"
#include "runtime/panel/utf8.h"

namespace plc::host {

namespace {

constexpr char kEllipsis[] = "\xE2\x80\xA6";

std::string utf8Of(char32_t code)
{
    return toUtf8(QString::fromUcs4(&code, 1));
}

} // namespace

void readyForScreen()
{
    std::setlocale(LC_CTYPE, "");
    if (std::strcmp(nl_langinfo(CODESET), "ANSI_X3.4-1968") == 0)
        std::setlocale(LC_CTYPE, "C.UTF-8");
}

std::vector<Glyph> glyphsOf(const std::string &utf8)
{
    std::vector<Glyph> glyphs;
    for (const uint code : fromUtf8(utf8).toUcs4()) {
        const int columns = wcwidth(static_cast<wchar_t>(code));
        if (columns == 0 && code != 0) {
            if (!glyphs.empty())
                glyphs.back().text += utf8Of(code);
            continue;
        }
        glyphs.push_back(columns > 0 ? Glyph{utf8Of(code), columns} : Glyph{"?", 1});
    }
    return glyphs;
}

int columnsOf(const std::string &utf8)
{
    int columns = 0;
    for (const Glyph &glyph : glyphsOf(utf8))
        columns += glyph.columns;
    return columns;
}

std::string cutTo(const std::string &utf8, int columns)
{
    std::string text;
    std::string shorter; // that leaves a column for the ellipsis
    int taken = 0;
    for (const Glyph &glyph : glyphsOf(utf8)) {
        taken += glyph.columns;
        if (taken > columns)
            return columns > 0 ? shorter + kEllipsis : std::string();
        text += glyph.text;
        if (taken < columns)
            shorter = text;
    }
    return text;
}

std::vector<std::string> wrapped(const std::string &utf8, int columns, int most)
{
    std::vector<std::string> lines;
    std::string rest;
    for (const Glyph &glyph : glyphsOf(utf8))
        rest += glyph.text;
    while (static_cast<int>(lines.size()) + 1 < most && columnsOf(rest) > columns && columns > 0) {
        std::size_t bytes = 0;
        std::size_t lastBlank = 0;
        int taken = 0;
        for (const Glyph &glyph : glyphsOf(rest)) {
            if (glyph.text == " ")
                lastBlank = bytes;
            taken += glyph.columns;
            if (taken > columns && bytes > 0)
                break;
            bytes += glyph.text.size();
        }
        const std::size_t end = lastBlank > 0 ? lastBlank : bytes;
        lines.push_back(rest.substr(0, end));
        rest = rest.substr(lastBlank > 0 ? end + 1 : end);
    }
    lines.push_back(cutTo(rest, columns));
    return lines;
}

} // namespace plc::host
