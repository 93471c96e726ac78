/// @file
/// Arithmetic on the runtime's numbers, which may be anything: nothing here overflows an int.
#ifndef PLC_CORE_ARITHMETIC_H
#define PLC_CORE_ARITHMETIC_H

#include <QtGlobal>

#include <climits>

namespace plc {

/// @p a + @p b, wrapping as two's complement.
inline int wrappingSum(int a, int b)
{
    return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b));
}

/// Eight times @p number, which is not negative, at most INT_MAX.
inline int timesEight(int number)
{
    return number > INT_MAX / 8 ? INT_MAX : number * 8;
}

/// Adds one to @p counter, which stays at its largest value: a panel runs for years.
inline void countUp(qint32 &counter)
{
    if (counter < INT_MAX)
        ++counter;
}

} // namespace plc

#endif
