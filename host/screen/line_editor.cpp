#include "host/screen/line_editor.h"

#include <algorithm>

#include "host/runtime_names.h"
#include "runtime/panel/utf8.h"

namespace plc::host {

namespace {

constexpr std::size_t kLongest = 4096;
constexpr std::size_t kKept = 100;
constexpr char32_t kControlU = 0x15;

std::string utf8Of(const std::u32string &text)
{
    return toUtf8(QString::fromUcs4(text.data(), static_cast<int>(text.size())));
}

std::u32string charactersOf(const std::string &utf8)
{
    std::u32string text;
    for (const uint code : fromUtf8(utf8).toUcs4())
        text += static_cast<char32_t>(code);
    return text;
}

} // namespace

void LineEditor::begin(const std::string &utf8)
{
    line_ = charactersOf(utf8);
    cursor_ = line_.size();
    recalled_ = typed_.size();
}

void LineEditor::recall(std::size_t number)
{
    recalled_ = std::min(number, typed_.size());
    line_ = recalled_ < typed_.size() ? typed_[recalled_] : std::u32string();
    cursor_ = line_.size();
}

void LineEditor::press(const Key &key)
{
    switch (key.kind) {
    case Key::Kind::Character:
        if (key.character == kControlU)
            begin();
        else if (key.character >= 0x20 && key.character != 0x7F && line_.size() < kLongest)
            line_.insert(cursor_++, 1, key.character);
        break;
    case Key::Kind::Backspace:
        if (cursor_ > 0)
            line_.erase(--cursor_, 1);
        break;
    case Key::Kind::Delete:
        if (cursor_ < line_.size())
            line_.erase(cursor_, 1);
        break;
    case Key::Kind::Left:
        if (cursor_ > 0)
            --cursor_;
        break;
    case Key::Kind::Right:
        cursor_ = std::min(cursor_ + 1, line_.size());
        break;
    case Key::Kind::Home:
        cursor_ = 0;
        break;
    case Key::Kind::End:
        cursor_ = line_.size();
        break;
    case Key::Kind::Up:
        if (recalled_ > 0)
            recall(recalled_ - 1);
        break;
    case Key::Kind::Down:
        recall(recalled_ + 1);
        break;
    default:
        break;
    }
}

std::string LineEditor::take()
{
    const std::u32string line = line_;
    if (!line.empty() && (typed_.empty() || typed_.back() != line))
        typed_.push_back(line);
    if (typed_.size() > kKept)
        typed_.erase(typed_.begin());
    begin();
    return utf8Of(line);
}

std::string LineEditor::text() const
{
    return utf8Of(line_);
}

std::string LineEditor::beforeCursor() const
{
    return utf8Of(line_.substr(0, cursor_));
}

} // namespace plc::host
