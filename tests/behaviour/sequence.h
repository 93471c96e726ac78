/// @file
/// Random sequences of calls of every entry point, with a line that answers in every way that lines have.
#ifndef PLC_TESTS_BEHAVIOUR_SEQUENCE_H
#define PLC_TESTS_BEHAVIOUR_SEQUENCE_H

#include "loaded_driver.h"
#include "transcript.h"

namespace plc::behaviour {

/// Plays sequence @p number on a driver built anew and returns what it did. The sequence depends on its
/// number and on what the driver does, on nothing else: equal drivers give equal transcripts on every
/// machine.
///
/// Every entry point is called but customMessageHandler(), which writes the time into a file that programs
/// share.
/// @param events  counts what happened; its keys are those of noEvents().
Transcript play(LoadedDriver &driver, int number, EventCounts &events);

/// Every event that must happen in a record, never seen yet.
EventCounts noEvents();

} // namespace plc::behaviour

#endif
