#include "host/screen/screen_model.h"

#include <algorithm>

#include "host/screen/durations.h"
#include "host/screen/text_columns.h"

namespace plc::host {

namespace {

constexpr std::size_t kTraceKept = 5000;
constexpr std::size_t kMessagesKept = 1000;

/// Which rows of the screen are for what, from the top.
struct Rows
{
    int title = -1; ///< below 0: there is none
    int first = 1;
    int count = 1;
    int detail = -1;
    int details = 0;
    int message = -1;
    int bottom = -1;
};

/// With less height, these go in this order: second line of the chosen row, message, chosen row, titles,
/// keys.
Rows rowsOf(int height)
{
    constexpr int kRoomy = 24;
    Rows rows;
    int last = height - 1;
    if (height >= 4)
        rows.bottom = last--;
    if (height >= 10)
        rows.message = last--;
    rows.details = height >= kRoomy ? 2 : height >= 9 ? 1 : 0;
    last -= rows.details;
    rows.detail = last + 1;
    if (height >= 8)
        rows.title = rows.first++;
    rows.count = std::max(last - rows.first + 1, 0);
    return rows;
}

struct HelpRow
{
    const char *word; ///< what is typed; empty for a sentence
    const char *meaning;
    int level = 0; ///< 1: an order, below the key that opens their line
};

const HelpRow kHelp[] = {
    {"Up, Down, PgUp, PgDn, Home, End", "move, as k, j, Space, g, G do"},
    {"/ TEXT Enter", "finds a name, address, unit, description; n next, N previous"},
    {"b", "only what is not good, and everything again"},
    {"v", "a row for each variable, and for each value again"},
    {"s", "stations: replies, errors by kind, reply times"},
    {"t", "trace of the frames from now on; Right shows more of long ones"},
    {"m", "messages so far"},
    {"Esc", "back to the values"},
    {"Ctrl-L", "draws the screen anew"},
    {"q, Ctrl-C", "end"},
};
const HelpRow kOrderHelp[] = {
    {"", ""},
    {": or Enter", "opens a line to type an order in:"},
    {"NAME = VALUE[,VALUE...]", "writes", 1},
    {"station N off, station N on", "leaves it alone, asks it again", 1},
    {"page N, next", "other values", 1},
    {"quit", "ends", 1},
    {"", "Up and Down bring earlier orders back, Esc closes the line", 1},
    {"=", "the same, with the name of the chosen variable in it"},
};
const HelpRow kReadingHelp[] = {
    {"", ""},
    {"", "Under the values stands all of the chosen row: why it is bad, and what to try."},
    {"", "Reply times: from the first character of a request to the end of its reply."},
};

/// The row in lines of at most @p width columns: the meaning beside the word, or below it where the width is
/// small.
std::vector<std::string> linesOf(const HelpRow &row, int width)
{
    constexpr int kNarrow = 60;
    constexpr int kMeaningColumn = 17;
    constexpr int kMost = 100; // lines
    const bool isNarrow = width < kNarrow;
    const int indent = row.level == 0 ? 0 : isNarrow ? 2 : kMeaningColumn;
    const std::string word = std::string(static_cast<std::size_t>(indent), ' ') + row.word;
    int column = indent;
    if (*row.word != '\0')
        column = isNarrow        ? indent + 4
                 : row.level > 0 ? columnsOf(word) + 3
                                 : std::max(kMeaningColumn, columnsOf(word) + 3);
    std::vector<std::string> lines = wrapped(row.meaning, std::max(width - column, 1), kMost);
    for (std::string &line : lines)
        line.insert(0, static_cast<std::size_t>(column), ' ');
    if (lines.empty())
        lines.emplace_back();
    if (*row.word == '\0')
        return lines;
    if (isNarrow)
        lines.insert(lines.begin(), word);
    else
        lines.front().replace(0, std::min(word.size(), lines.front().size()), word);
    return lines;
}

} // namespace

ScreenModel::ScreenModel(const ScreenSource &source, const ScreenTitle &title, NumberStyle style,
                         bool takesOrders)
    : source_(source), takesOrders_(takesOrders), head_(title), values_(source, style), trace_(kTraceKept),
      messages_(kMessagesKept), help_(kMessagesKept)
{}

/// The help for a screen of that width.
void ScreenModel::fitHelp(int width)
{
    if (width == helpWidth_)
        return;
    helpWidth_ = width;
    help_ = TextView(kMessagesKept);
    const auto add = [&](const auto &rows) {
        for (const HelpRow &row : rows) {
            for (const std::string &line : linesOf(row, width))
                help_.add(line);
        }
    };
    add(kHelp);
    if (takesOrders_)
        add(kOrderHelp);
    add(kReadingHelp);
    help_.showFirst();
}

void ScreenModel::showPage(int page)
{
    view_ = View::Values;
    if (page > 0)
        values_.showPage(page);
    else
        values_.nextPage();
}

void ScreenModel::say(const std::string &message)
{
    messages_.add(clockText(source_.figures().running) + "  " + message);
}

TextView &ScreenModel::textView()
{
    if (view_ == View::Trace)
        return trace_;
    return view_ == View::Messages ? messages_ : help_;
}

bool ScreenModel::move(const Key &key)
{
    if (view_ == View::Values)
        return values_.press(key);
    if (view_ == View::Stations)
        return stations_.press(key);
    return textView().press(key);
}

Wish ScreenModel::open(View view)
{
    view_ = view_ == view ? View::Values : view;
    if (view_ == View::Help)
        help_.showFirst();
    return view_ == View::Trace ? Wish{Wish::Kind::Trace, ""} : Wish{};
}

void ScreenModel::openPrompt(Prompt prompt, const std::string &text)
{
    prompt_ = prompt;
    (prompt == Prompt::Find ? search_ : order_).begin(text);
}

void ScreenModel::openOrder(const std::string &text)
{
    if (takesOrders_)
        openPrompt(Prompt::Order, text);
    else
        say("watch only reads; plchost run takes orders, and plchost write writes");
}

void ScreenModel::find(bool backwards)
{
    view_ = View::Values;
    if (!wanted_.empty() && !values_.find(wanted_, backwards))
        say("'" + wanted_ + "' is in no name, address, unit or description" +
            (values_.isOnlyBad() ? " of what is bad" : ""));
}

Wish ScreenModel::pressInPrompt(const Key &key)
{
    LineEditor &editor = prompt_ == Prompt::Find ? search_ : order_;
    if (key.kind == Key::Kind::Escape || (key.kind == Key::Kind::Backspace && editor.text().empty())) {
        prompt_ = Prompt::None;
        return {};
    }
    if (key.kind != Key::Kind::Enter) {
        editor.press(key);
        return {};
    }
    const Prompt was = prompt_;
    prompt_ = Prompt::None;
    const std::string line = editor.take();
    if (was == Prompt::Order)
        return line.empty() ? Wish{} : Wish{Wish::Kind::Order, line};
    wanted_ = line.empty() ? wanted_ : line;
    find(false);
    return {};
}

Wish ScreenModel::press(const Key &key)
{
    if (prompt_ != Prompt::None)
        return pressInPrompt(key);
    if (move(key))
        return {};
    switch (key.kind) {
    case Key::Kind::Character:
        return pressCharacter(key.character);
    case Key::Kind::Enter:
        openOrder("");
        return {};
    case Key::Kind::Escape:
        view_ = View::Values;
        return {};
    case Key::Kind::Help:
        return open(View::Help);
    default:
        return {};
    }
}

Wish ScreenModel::pressCharacter(char32_t character)
{
    switch (character) {
    case U'q':
        return {Wish::Kind::Quit, ""};
    case U'?':
    case U'h':
        return open(View::Help);
    case U's':
        return open(View::Stations);
    case U't':
        return open(View::Trace);
    case U'm':
        return open(View::Messages);
    case U'b':
        view_ = View::Values;
        values_.toggleOnlyBad();
        return {};
    case U'v':
        view_ = View::Values;
        values_.toggleBlocks();
        return {};
    case U'/':
        openPrompt(Prompt::Find);
        return {};
    case U'n':
    case U'N':
        find(character == U'N');
        return {};
    case U':':
        openOrder("");
        return {};
    case U'=':
        openOrder(values_.chosenVariable() < 0 ? ""
                                               : source_.variable(values_.chosenVariable()).label + " = ");
        return {};
    case U'k':
        move({Key::Kind::Up});
        return {};
    case U'j':
        move({Key::Kind::Down});
        return {};
    case U'g':
        move({Key::Kind::Home});
        return {};
    case U'G':
        move({Key::Kind::End});
        return {};
    case U' ':
        move({Key::Kind::PageDown});
        return {};
    default:
        return {};
    }
}

void ScreenModel::drawView(Picture *picture, const LineFigures &figures, int titleRow, int firstRow, int rows)
{
    if (view_ == View::Values) {
        values_.fit(rows);
        values_.draw(picture, titleRow, firstRow);
        return;
    }
    if (view_ == View::Stations) {
        stations_.draw(picture, titleRow, firstRow, rows, figures);
        return;
    }
    const char *const titles[] = {"trace", "messages", "help"};
    Style bold;
    bold.isBold = true;
    if (titleRow >= 0)
        picture->put(titleRow, 0, titles[static_cast<int>(view_) - static_cast<int>(View::Trace)], bold);
    textView().draw(picture, firstRow, rows);
}

void ScreenModel::drawDetail(Picture *picture, int row, int rows) const
{
    Style style;
    style.health = values_.chosenHealth();
    for (const std::string &line : wrapped(values_.detail(), picture->width(), rows))
        picture->put(row++, 0, line, style);
}

std::string ScreenModel::hints() const
{
    if (view_ != View::Values)
        return "q quit  Esc back  ? help";
    return takesOrders_ ? "q quit  ? help  : order  / find  b bad  s stations  t trace"
                        : "q quit  ? help  / find  b bad  s stations  t trace  m messages";
}

std::string ScreenModel::position() const
{
    if (view_ == View::Values)
        return values_.position();
    if (view_ == View::Stations)
        return stations_.position();
    return (view_ == View::Trace ? trace_ : view_ == View::Messages ? messages_ : help_).position();
}

void ScreenModel::drawBottom(Picture *picture, int row) const
{
    if (prompt_ == Prompt::None) {
        const std::string where = position();
        const int from = picture->width() - columnsOf(where);
        picture->put(row, 0, from > 8 ? cutTo(hints(), from - 2) : "");
        picture->put(row, std::max(from, 0), where);
        return;
    }
    const LineEditor &editor = prompt_ == Prompt::Find ? search_ : order_;
    const std::string mark = prompt_ == Prompt::Find ? "/" : ": ";
    // A line that is longer than the screen shows the part before the cursor.
    const int before = columnsOf(mark + editor.beforeCursor());
    const int shift = std::max(before - picture->width() + 1, 0);
    picture->put(row, -shift, mark + editor.text());
    picture->cursor = std::make_pair(row, before - shift);
}

Picture ScreenModel::picture(int width, int height)
{
    Picture picture(width, height);
    fitHelp(picture.width());
    const Rows rows = rowsOf(picture.height());
    const LineFigures figures = source_.figures();
    // What belongs to the chosen value is no use elsewhere.
    const int details = view_ == View::Values ? rows.details : 0;
    drawView(&picture, figures, rows.title, rows.first, rows.count + rows.details - details);
    if (details > 0)
        drawDetail(&picture, rows.detail, details);
    if (rows.message >= 0 && !messages_.lines().empty())
        picture.put(rows.message, 0, cutTo(messages_.lines().back(), picture.width()));
    if (rows.bottom >= 0)
        drawBottom(&picture, rows.bottom);
    head_.draw(&picture, 0, figures);
    return picture;
}

std::vector<std::string> ScreenModel::lastValues(int width, int height)
{
    values_.fit(rowsOf(height).count);
    return values_.lines(width);
}

} // namespace plc::host
