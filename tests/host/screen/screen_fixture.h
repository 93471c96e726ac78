/// @file
/// A source of values that the test sets, and pictures as lines.
#ifndef PLC_TESTS_SCREEN_FIXTURE_H
#define PLC_TESTS_SCREEN_FIXTURE_H

#include <clocale>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/screen/screen_source.h"

namespace plc::test {

/// Characters have the widths of UTF-8, whoever runs the test.
inline void takeUtf8()
{
    if (!std::setlocale(LC_CTYPE, "C.UTF-8"))
        throw std::runtime_error("this machine has no locale C.UTF-8");
}

class FakeSource : public host::ScreenSource
{
public:
    FakeSource() { takeUtf8(); }

    /// @param label  empty for none.
    void add(const std::string &place, const std::string &label = "", const runtime::Meaning &meaning = {})
    {
        runtime::Variable variable = runtime::parseVariable(place, false);
        variable.label = label;
        variable.meaning = std::make_shared<runtime::Meaning>(meaning);
        variables.push_back(variable);
        host::Reading reading;
        reading.values = runtime::Values(static_cast<std::size_t>(variable.rawCount()), 0);
        reading.age = std::chrono::milliseconds(12);
        reading.state = "good";
        reading.health = host::Health::Good;
        readings.push_back(reading);
    }
    void fail(std::size_t number, const std::string &state, const std::string &reason)
    {
        readings[number].state = state;
        readings[number].reason = reason;
        readings[number].health = host::Health::Bad;
    }

    int count() const override { return static_cast<int>(variables.size()); }
    const runtime::Variable &variable(int number) const override { return variables[at(number)]; }
    int station(int number) const override { return variable(number).station.value_or(1); }
    host::Reading reading(int number) const override { return readings[at(number)]; }
    host::LineFigures figures() const override { return line; }

    std::vector<runtime::Variable> variables;
    std::vector<host::Reading> readings;
    host::LineFigures line;

private:
    static std::size_t at(int number) { return static_cast<std::size_t>(number); }
};

inline std::vector<std::string> linesOf(const host::Picture &picture)
{
    std::vector<std::string> lines;
    for (int row = 0; row < picture.height(); ++row)
        lines.push_back(picture.line(row));
    return lines;
}

/// The styles of the cells in which @p text stands in the row; that of nothing where it does not.
inline host::Style styleAt(const host::Picture &picture, int row, const std::string &text)
{
    for (int column = 0; column < picture.width(); ++column) {
        std::string found;
        for (int i = column; i < picture.width() && found.size() < text.size(); ++i)
            found += picture.at(row, i).text;
        if (found == text)
            return picture.at(row, column).style;
    }
    throw std::runtime_error("'" + text + "' is not in '" + picture.line(row) + "'");
}

} // namespace plc::test

#endif
