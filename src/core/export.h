/// @file
/// The attributes that keep a name visible in the library; everything without one of them is hidden.
#ifndef PLC_CORE_EXPORT_H
#define PLC_CORE_EXPORT_H

#define PLC_EXPORT __attribute__((visibility("default")))

/// For data. Only the library's own sources see it protected: then the linker refuses a program that would
/// make a copy of its own, which the library would know nothing of. A program has to look at the library's
/// data as at anything of another file, which is what the default says.
#ifdef PLC_BUILDING_LIBRARY
#define PLC_EXPORT_DATA __attribute__((visibility("protected")))
#else
#define PLC_EXPORT_DATA PLC_EXPORT
#endif

#endif
