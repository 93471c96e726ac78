/// @file
/// Texts in UTF-8: their characters, and between Qt and the standard library, since Qt 4.8 takes std::string
/// for text of the locale.
#ifndef PLC_PANEL_UTF8_H
#define PLC_PANEL_UTF8_H

#include <QByteArray>
#include <QString>

#include <string>

namespace plc::runtime {

inline QString fromUtf8(const std::string &text)
{
    return QString::fromUtf8(text.data(), static_cast<int>(text.size()));
}

inline std::string toUtf8(const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    return std::string(bytes.constData(), static_cast<std::size_t>(bytes.size()));
}

/// A to Z as a to z, whatever the user's language has for them.
inline std::string inSmallLetters(std::string text)
{
    for (char &letter : text) {
        if (letter >= 'A' && letter <= 'Z')
            letter = static_cast<char>(letter - 'A' + 'a');
    }
    return text;
}

/// False for the second byte of a character and those behind it.
inline bool beginsCharacter(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0u) != 0x80u;
}

} // namespace plc::runtime

#endif
