#include "host/screen/text_view.h"

#include <algorithm>

#include "host/screen/text_columns.h"

namespace plc::host {

namespace {

constexpr int kShift = 20;

} // namespace

void TextView::add(const std::string &line)
{
    lines_.push_back(line);
    if (lines_.size() <= most_)
        return;
    lines_.pop_front();
    ++dropped_;
}

void TextView::showFirst()
{
    follows_ = false;
    top_ = 0;
}

void TextView::scroll(long lines)
{
    const long last = std::max(end() - page_, dropped_);
    top_ = std::clamp(top_ + lines, dropped_, last);
    follows_ = top_ == last;
}

bool TextView::press(const Key &key)
{
    switch (key.kind) {
    case Key::Kind::Up:
        scroll(-1);
        return true;
    case Key::Kind::Down:
        scroll(1);
        return true;
    case Key::Kind::PageUp:
        scroll(-page_);
        return true;
    case Key::Kind::PageDown:
        scroll(page_);
        return true;
    case Key::Kind::Home:
        scroll(-end());
        return true;
    case Key::Kind::End:
        scroll(end());
        return true;
    case Key::Kind::Left:
        shift_ = std::max(shift_ - kShift, 0);
        return true;
    case Key::Kind::Right:
        shift_ += kShift;
        return true;
    default:
        return false;
    }
}

void TextView::draw(Picture *picture, int firstRow, int rows)
{
    page_ = std::max(rows, 1);
    const bool followed = follows_;
    scroll(followed ? end() : 0);
    for (int row = 0; row < rows && top_ + row < end(); ++row) {
        const std::string &line = lines_[static_cast<std::size_t>(top_ + row - dropped_)];
        if (shift_ > 0)
            picture->put(firstRow + row, -shift_, line);
        else
            picture->put(firstRow + row, 0, cutTo(line, picture->width()));
    }
}

std::string TextView::position() const
{
    const std::string all = std::to_string(end());
    if (follows_)
        return lines_.empty() ? "nothing yet" : "newest of " + all;
    return std::to_string(top_ + 1) + "-" + std::to_string(std::min(top_ + page_, end())) + " of " + all;
}

} // namespace plc::host
