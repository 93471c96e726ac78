/// @file
/// The line that libplcruntime simulates, in the words of this folder.
#ifndef PLC_TESTS_BUS_SIMULATED_LINE_H
#define PLC_TESTS_BUS_SIMULATED_LINE_H

#include "runtime/testing/field.h"
#include "runtime/testing/journal.h"
#include "runtime/testing/random.h"
#include "runtime/testing/virtual_link.h"
#include "runtime/testing/wire.h"
#include "station/bytes.h"
#include "station/register_model.h"

namespace plc::bus {

using runtime::Time;
using simulation::Fault;
using simulation::FaultCounts;
using simulation::Field;
using simulation::FieldObserver;
using simulation::FieldPlan;
using simulation::Journal;
using simulation::kExchangeFaults;
using simulation::kFaults;
using simulation::kNoise;
using simulation::LinkObserver;
using simulation::Message;
using simulation::Random;
using simulation::StationPlan;
using simulation::Stations;
using simulation::VirtualLink;
using simulation::Wire;

using namespace station; // its bytes, areas and rules judge the line

} // namespace plc::bus

#endif
