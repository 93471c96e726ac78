/// @file
/// Lines that grow at their end, of which a page is to be seen.
#ifndef PLC_SCREEN_TEXT_VIEW_H
#define PLC_SCREEN_TEXT_VIEW_H

#include <deque>
#include <string>

#include "host/screen/key.h"
#include "host/screen/picture.h"

namespace plc::host {

/// Shows the newest lines, until somebody scrolls back: then the page stands still while lines are added.
class TextView
{
public:
    /// @param most  lines that are kept, the newest ones.
    explicit TextView(std::size_t most) : most_(most) {}

    void add(const std::string &line);
    /// @return false for a key that moves nothing.
    bool press(const Key &key);
    void draw(Picture *picture, int firstRow, int rows);
    /// From now on the first line is to be seen.
    void showFirst();

    const std::deque<std::string> &lines() const { return lines_; }
    /// Lines that were added and are not kept any more.
    long dropped() const { return dropped_; }
    /// "newest of 200", "1-20 of 200".
    std::string position() const;

private:
    long end() const { return dropped_ + static_cast<long>(lines_.size()); }
    void scroll(long lines);

    std::size_t most_;
    std::deque<std::string> lines_;
    long dropped_ = 0;
    bool follows_ = true; ///< the newest line is on the page
    long top_ = 0;        ///< first line of the page, counted from the first that was ever added
    int page_ = 1;
    int shift_ = 0; ///< columns that are out of sight at the left
};

} // namespace plc::host

#endif
