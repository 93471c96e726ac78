/// @file
/// What the blocks of docs/runtime.md take for granted: both headers and their namespace.
#ifndef PLC_TESTS_DOCS_RUNTIME_CONTEXT_H
#define PLC_TESTS_DOCS_RUNTIME_CONTEXT_H

#include <plcruntime/testing.h>

#include <cstdio>

using namespace plcruntime;

#endif
