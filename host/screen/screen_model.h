/// @file
/// The full-screen view of watch and run, as rows of cells: what keys do, and what is to be seen.
#ifndef PLC_SCREEN_SCREEN_MODEL_H
#define PLC_SCREEN_SCREEN_MODEL_H

#include <optional>
#include <string>
#include <vector>

#include "host/screen/head_line.h"
#include "host/screen/key.h"
#include "host/screen/line_editor.h"
#include "host/screen/picture.h"
#include "host/screen/screen_source.h"
#include "host/screen/station_table.h"
#include "host/screen/text_view.h"
#include "host/screen/value_table.h"

namespace plc::host {

/// What a key asks the program to do.
struct Wish
{
    enum class Kind
    {
        Nothing,
        Quit,
        Order, ///< `text` was typed
        Trace  ///< frames are wanted from now on
    };
    Kind kind = Kind::Nothing;
    std::string text;
};

/// Knows no terminal. Every size from one cell on is drawn, with as much as fits: on 24 rows 18 values, on 10
/// rows 5. Not locked: one thread.
class ScreenModel
{
public:
    /// @param source       outlives this object.
    /// @param takesOrders  there is a line to type orders in.
    ScreenModel(const ScreenSource &source, const ScreenTitle &title, NumberStyle style, bool takesOrders);

    Wish press(const Key &key);

    /// Another page of the values, counted from 1; 0 for the next one.
    void showPage(int page);
    /// A line for people, kept with the time. The newest one stands under the values, the others are to be
    /// had with a key.
    void say(const std::string &message);
    void trace(const std::string &line) { trace_.add(line); }

    /// What is to be seen on a terminal of that size.
    Picture picture(int width, int height);
    /// The values that are to be seen, a line each, with their titles.
    std::vector<std::string> lastValues(int width, int height);

private:
    enum class View
    {
        Values,
        Stations,
        Trace,
        Messages,
        Help
    };
    enum class Prompt
    {
        None,
        Find,
        Order
    };

    Wish pressInPrompt(const Key &key);
    Wish pressCharacter(char32_t character);
    Wish open(View view);
    void openPrompt(Prompt prompt, const std::string &text = std::string());
    void openOrder(const std::string &text);
    void find(bool backwards);
    bool move(const Key &key);
    void fitHelp(int width);
    void drawView(Picture *picture, const LineFigures &figures, int titleRow, int firstRow, int rows);
    void drawDetail(Picture *picture, int row, int rows) const;
    void drawBottom(Picture *picture, int row) const;
    std::string hints() const;
    std::string position() const;
    TextView &textView();

    const ScreenSource &source_;
    bool takesOrders_;
    HeadLine head_;
    ValueTable values_;
    StationTable stations_;
    TextView trace_;
    TextView messages_;
    TextView help_;
    int helpWidth_ = 0; ///< that it is laid out for
    View view_ = View::Values;
    Prompt prompt_ = Prompt::None;
    LineEditor order_;
    LineEditor search_;
    std::string wanted_; ///< what was looked for last
};

} // namespace plc::host

#endif
