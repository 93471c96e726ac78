/// @file
/// Keys as the screen knows them, whatever the terminal sends for them.
#ifndef PLC_SCREEN_KEY_H
#define PLC_SCREEN_KEY_H

namespace plc::host {

struct Key
{
    enum class Kind
    {
        Character,
        Up,
        Down,
        Left,
        Right,
        PageUp,
        PageDown,
        Home,
        End,
        Enter,
        Escape,
        Backspace,
        Delete,
        Help,
        Resize, ///< the terminal has another size
        Redraw, ///< something has spoilt the picture
        Unknown
    };
    Kind kind = Kind::Unknown;
    char32_t character = 0; ///< of Kind::Character
};

inline Key characterKey(char32_t character)
{
    return {Key::Kind::Character, character};
}

} // namespace plc::host

#endif
