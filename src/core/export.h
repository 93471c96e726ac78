/// @file
/// The attribute that keeps a name visible in the library; everything without it is hidden.
#ifndef PLC_CORE_EXPORT_H
#define PLC_CORE_EXPORT_H

#define PLC_EXPORT __attribute__((visibility("default")))

#endif
