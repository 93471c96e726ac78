/// @file
/// A long list of which a page is to be seen, with one chosen row.
#ifndef PLC_SCREEN_CURSOR_LIST_H
#define PLC_SCREEN_CURSOR_LIST_H

#include <algorithm>

#include "host/screen/key.h"

namespace plc::host {

class CursorList
{
public:
    /// Takes note of how many rows there are, and how many are to be seen; the chosen row is one of these
    /// afterwards, where there is any.
    void fit(int count, int page)
    {
        count_ = std::max(count, 0);
        page_ = std::max(page, 1);
        chosen_ = std::clamp(chosen_, 0, std::max(count_ - 1, 0));
        top_ = std::clamp(top_, chosen_ - page_ + 1, chosen_);
        top_ = std::clamp(top_, 0, std::max(count_ - page_, 0));
    }

    /// @return false for a key that moves nothing.
    bool press(const Key &key)
    {
        switch (key.kind) {
        case Key::Kind::Up:
            choose(chosen_ - 1);
            return true;
        case Key::Kind::Down:
            choose(chosen_ + 1);
            return true;
        case Key::Kind::PageUp:
            turn(-1);
            return true;
        case Key::Kind::PageDown:
            turn(1);
            return true;
        case Key::Kind::Home:
            choose(0);
            return true;
        case Key::Kind::End:
            choose(count_ - 1);
            return true;
        default:
            return false;
        }
    }

    void choose(int row)
    {
        chosen_ = row;
        fit(count_, page_);
    }
    /// The list has become another one.
    void refill(int count, int chosen)
    {
        count_ = count;
        choose(chosen);
    }
    /// @param page  counted from 1; behind the last one the first.
    void showPage(int page)
    {
        top_ = (page - 1) * page_ < count_ ? (page - 1) * page_ : 0;
        chosen_ = top_;
        fit(count_, page_);
    }
    void turn(int pages)
    {
        top_ += pages * page_;
        choose(chosen_ + pages * page_);
    }
    /// The next page; behind the last one the first.
    void next()
    {
        if (end() >= count_)
            showPage(1);
        else
            turn(1);
    }

    int chosen() const { return chosen_; }
    /// The rows that are to be seen: from top() to end() - 1.
    int top() const { return top_; }
    int end() const { return std::min(top_ + page_, count_); }
    int count() const { return count_; }

private:
    int count_ = 0;
    int page_ = 1;
    int top_ = 0;
    int chosen_ = 0;
};

} // namespace plc::host

#endif
