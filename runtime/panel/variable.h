/// @file
/// Variables as people write them: "4x:100", "4x:100:10", "4x_bit:35.3", "4x:200:3/f32.cdab@5".
#ifndef PLC_PANEL_VARIABLE_H
#define PLC_PANEL_VARIABLE_H

#include <QString>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "runtime/panel/meaning.h"
#include "runtime/panel/value_format.h"

namespace plc::runtime {

/// What one value of an area is.
enum class Unit
{
    Bit,         ///< one bit
    Register,    ///< one 16-bit register
    RegisterPair ///< one 32-bit value in two registers
};

/// One area of a station, as the driver numbers them.
struct Area
{
    const char *name; ///< as people write it
    int regType;      ///< register type code of the driver, 0 to 9
    int baseType;     ///< type that its elements are read as: 0, 1, 4 or 5
    Unit unit;
    bool insideRegister; ///< addressed as "register.bit"
    bool writable;
    const char *meaning; ///< for the help
};

/// All areas.
std::vector<Area> areas();

/// Area named @p name (small or capital letters), null for none.
const Area *findArea(const std::string &name);

/// A variable: a number of values in a row at one place.
struct Variable
{
    std::string text; ///< as it was written
    const Area *area = nullptr;
    QString address; ///< address text, handed to the driver as it was typed
    int first = 0;   ///< what the address text means, counted from 0: bit, register, or register * 16 + bit
    int count = 1;   ///< values: bits, or what the format takes; without a format registers or 32-bit values
    bool countGiven = false;
    std::optional<ValueFormat> format;      ///< none: whole numbers as wide as the area has them
    std::optional<int> station;             ///< where "@station" was written
    std::string label;                      ///< name that people gave it; empty = it goes by area and address
    std::shared_ptr<const Meaning> meaning; ///< null: none but the numbers themselves

    /// Bits or registers of one value.
    int valueElements() const;
    /// `count` as the driver wants it: bits or 16-bit registers.
    int elements() const { return count * valueElements(); }
    /// How many raw elements all values are, see Values: bits, registers, or pairs of them.
    int rawCount() const { return area->unit == Unit::RegisterPair ? count : elements(); }
    /// The format of its registers, also where none was given.
    /// @pre  not in a bit area
    ValueFormat registerFormat() const;
    /// First register (word areas) or bit (bit areas) of the area that the variable touches.
    int baseFirst() const { return area->insideRegister ? first / 16 : first; }
    /// Registers (word areas) or bits (bit areas) that the variable touches.
    int baseCount() const { return area->insideRegister ? (first % 16 + count + 15) / 16 : elements(); }
    /// Name of value @p index, 0 to count - 1: "4x:103", "4x_bit:36.2", "4x:202/f32", counted as typed. Of a
    /// labelled variable the label, with "[INDEX]" where it has several values.
    std::string nameOf(int index) const;
    /// Address text of the value's first element, as it would be typed: "103", "36.2".
    std::string addressOf(int index) const;
};

/// Reads a variable: AREA:ADDRESS[:COUNT][/FORMAT[.ORDER]][@STATION].
/// @param oneBased  addresses are typed counting from 1, as the driver's option "one-based" has it.
/// @throw Failure   (wrong usage) that names the variable, the place in it, and what is allowed.
Variable parseVariable(const std::string &text, bool oneBased);

/// "0x", "1x", "3x", "4x" for base types 0, 1, 4, 5.
const char *areaName(int baseType);

} // namespace plc::runtime

#endif
