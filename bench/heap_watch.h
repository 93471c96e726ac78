/// @file
/// Counts what the whole program asks the heap for. Linking heap_watch.cpp replaces malloc, calloc, realloc
/// and free (and with them operator new and what Qt uses) by counting ones of the same behaviour.
#ifndef PLC_BENCH_HEAP_WATCH_H
#define PLC_BENCH_HEAP_WATCH_H

#include <cstddef>

namespace plc::bench {

/// Calls of malloc, calloc and realloc since the program began.
std::size_t allocationCount();

/// Bytes that the program asked for and has not given back, over the allocations made while recording.
/// startRecording() forgets earlier ones; what they free later is not counted. Recording keeps a fixed number
/// of entries and ends the program when they are used up.
void startRecording();
std::size_t stopRecording();

/// The most bytes of those allocations that were not given back at the same time, in the record that
/// stopRecording() has ended.
std::size_t mostRecorded();

/// Bytes of the heap chunks in use, bookkeeping and rounding of the allocator included.
std::size_t chunkBytes();

} // namespace plc::bench

#endif
