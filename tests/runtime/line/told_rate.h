#ifndef PLC_TESTS_RUNTIME_LINE_TOLD_RATE_H
#define PLC_TESTS_RUNTIME_LINE_TOLD_RATE_H

/// Bits per second that the system tells of an open terminal; 0 where it cannot tell a figure.
int toldRate(int descriptor);

#endif
