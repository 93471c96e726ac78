// Shows plchost on a terminal: as text, or as a picture in SVG. scripts/picture calls it.
//
//   screen_picture WIDTH HEIGHT text|svg WAIT-FOR KEYS -- ARGUMENTS OF PLCHOST...
//
// Waits until WAIT-FOR stands on the screen, types KEYS, lets the screen settle for a second, and prints it.

#include <chrono>
#include <cstdio>
#include <iostream>
#include <string>

#include "screen_terminal.h"

namespace {

using namespace plc::test;

constexpr double kCellWidth = 8.43; ///< of the first font below, at its size
constexpr int kCellHeight = 18;
constexpr int kMargin = 12;
constexpr char kInk[] = "#d8dee9";
constexpr char kPaper[] = "#1f2430";

std::string escaped(const std::string &text)
{
    std::string result;
    for (const char letter : text)
        result += letter == '<'   ? "&lt;"
                  : letter == '>' ? "&gt;"
                  : letter == '&' ? "&amp;"
                                  : std::string(1, letter);
    return result;
}

double leftOf(int column)
{
    return kMargin + column * kCellWidth;
}

std::string inkOf(const ScreenCell &cell)
{
    if (cell.colour == 1)
        return "#ff6b68";
    return cell.colour == 3 ? "#f0c674" : kInk;
}

bool isAlike(const ScreenCell &a, const ScreenCell &b)
{
    return a.colour == b.colour && a.isBold == b.isBold && a.isReversed == b.isReversed;
}

/// A word in cells of one look. Each has its place, since fonts are not all as wide.
void printWord(int row, int from, int columns, const ScreenCell &look, const std::string &word)
{
    std::cout << "<text x='" << leftOf(from) << "' y='" << kMargin + row * kCellHeight + 13
              << "' textLength='" << columns * kCellWidth << "' fill='"
              << (look.isReversed ? kPaper : inkOf(look)) << "'" << (look.isBold ? " font-weight='bold'" : "")
              << ">" << escaped(word) << "</text>\n";
}

/// The words in the cells from @p from to @p end - 1, which look alike.
void printWords(const ScreenTerminal &terminal, int row, int from, int end)
{
    std::string word;
    for (int column = from; column <= end; ++column) {
        const std::string text = column < end ? terminal.cell(row, column).text : "";
        if (!text.empty() && text != " ") {
            word += text;
            continue;
        }
        if (!word.empty())
            printWord(row, from, column - from, terminal.cell(row, from), word);
        word.clear();
        from = column + 1;
    }
}

void printSvg(const ScreenTerminal &terminal, int width, int height)
{
    const double pixelsWide = width * kCellWidth + 2 * kMargin;
    const int pixelsHigh = height * kCellHeight + 2 * kMargin;
    std::cout << "<svg xmlns='http://www.w3.org/2000/svg' width='" << pixelsWide << "' height='" << pixelsHigh
              << "' viewBox='0 0 " << pixelsWide << " " << pixelsHigh
              << "' font-family='DejaVu Sans Mono, Menlo, Consolas, monospace' font-size='14' "
                 "xml:space='preserve'>\n"
              << "<rect width='100%' height='100%' rx='8' fill='" << kPaper << "'/>\n";
    for (int row = 0; row < height; ++row) {
        for (int column = 0; column < width;) {
            const ScreenCell look = terminal.cell(row, column);
            const int from = column;
            while (column < width && isAlike(terminal.cell(row, column), look))
                ++column;
            if (look.isReversed)
                std::cout << "<rect x='" << leftOf(from) << "' y='" << kMargin + row * kCellHeight
                          << "' width='" << (column - from) * kCellWidth << "' height='" << kCellHeight
                          << "' fill='" << inkOf(look) << "'/>\n";
            printWords(terminal, row, from, column);
        }
    }
    std::cout << "</svg>\n";
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 8 || std::string(argv[6]) != "--") {
        std::fputs("usage: screen_picture WIDTH HEIGHT text|svg WAIT-FOR KEYS -- ARGUMENTS...\n", stderr);
        return 2;
    }
    const int width = std::stoi(argv[1]);
    const int height = std::stoi(argv[2]);
    ScreenTerminal terminal(Words(argv + 7, argv + argc), {width, height});
    if (!terminal.shows(argv[4]))
        return 1;
    terminal.type(argv[5]);
    const auto settled = plc::host::steadyNow() + std::chrono::seconds(1);
    terminal.await([&] { return plc::host::steadyNow() >= settled; });
    if (std::string(argv[3]) == "svg")
        printSvg(terminal, width, height);
    else
        std::cout << terminal.screen();
    terminal.signal(SIGTERM);
    return terminal.end() ? 0 : 1;
}
