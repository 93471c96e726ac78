/// @file
/// Texts in the columns of a terminal, where a character takes none, one or two of them.
///
/// How wide a character is, the C library says, by the locale of the program: see readyForScreen().
#ifndef PLC_SCREEN_TEXT_COLUMNS_H
#define PLC_SCREEN_TEXT_COLUMNS_H

#include <string>
#include <vector>

namespace plc::host {

/// A character with the marks that stand above or below it.
struct Glyph
{
    std::string text; ///< UTF-8
    int columns = 1;  ///< 1 or 2
};

/// Takes the characters of the user's language, and UTF-8 where he has set none: all texts of this program
/// are UTF-8.
void readyForScreen();

/// The characters of a text in UTF-8. What a terminal would obey, or cannot show, is a question mark.
std::vector<Glyph> glyphsOf(const std::string &utf8);

/// Columns that the text takes.
int columnsOf(const std::string &utf8);

/// The text in at most @p columns; where something is missing, it ends in "…".
std::string cutTo(const std::string &utf8, int columns);

/// The text broken into lines of at most @p columns, between words where there are some.
/// @param most  lines; the last one is cut.
std::vector<std::string> wrapped(const std::string &utf8, int columns, int most);

} // namespace plc::host

#endif
