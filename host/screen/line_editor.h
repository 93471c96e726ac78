/// @file
/// A line that is being typed.
#ifndef PLC_SCREEN_LINE_EDITOR_H
#define PLC_SCREEN_LINE_EDITOR_H

#include <string>
#include <vector>

#include "host/screen/key.h"

namespace plc::host {

/// Up and Down bring back the lines that were typed before.
class LineEditor
{
public:
    /// Begins a new line.
    void begin(const std::string &utf8 = std::string());
    /// A key that changes the line or moves in it; others are passed over.
    void press(const Key &key);
    /// Ends the line, and keeps it for Up.
    std::string take();

    std::string text() const;
    /// What stands before the cursor.
    std::string beforeCursor() const;

private:
    void recall(std::size_t number);

    std::u32string line_;
    std::size_t cursor_ = 0; ///< characters before it
    std::vector<std::u32string> typed_;
    std::size_t recalled_ = 0; ///< number in typed_; its size for the new line
};

} // namespace plc::host

#endif
