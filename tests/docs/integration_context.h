/// @file
/// What the blocks of docs/integration.md take for granted: the start header, and the two callbacks of the
/// runtime.
#ifndef PLC_TESTS_DOCS_INTEGRATION_CONTEXT_H
#define PLC_TESTS_DOCS_INTEGRATION_CONTEXT_H

#include <plcdriver.h>

#include <cstring>

void onResult(int callbackArg, int hostId, int hostSubId, int outcome);
void onFailure(QList<RW_VAR> *none, int hostId, int one);

#endif
