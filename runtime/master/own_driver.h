/// @file
/// A driver that nobody else in the process uses.
#ifndef PLC_MASTER_OWN_DRIVER_H
#define PLC_MASTER_OWN_DRIVER_H

#include <memory>
#include <string>

#include "runtime/master/driver_library.h"

namespace plc::runtime {

/// Where a copy of the driver's file may be put. A test can take places away.
class CopyPlaces
{
public:
    virtual ~CopyPlaces() = default;
    /// A new file without a name, to be run from.
    /// @return its descriptor, or -1 with `errno`.
    virtual int anonymousFile();
    /// A folder for a temporary file: `TMPDIR`, or /tmp.
    virtual std::string temporaryFolder();
};

/// Loads the file of the driver; where that is loaded already, by whomever, a private copy of it. The copy is
/// gone with this object: it lies in memory, or in a file whose name is removed at once.
class OwnDriver
{
public:
    /// @param path     as of DriverLibrary.
    /// @throw Failure  (driver) when it cannot be loaded, or no copy of it may be run; then it gives the
    ///                 reason of each place.
    explicit OwnDriver(const std::string &path, CopyPlaces &&places = CopyPlaces());
    ~OwnDriver();
    OwnDriver(const OwnDriver &) = delete;
    OwnDriver &operator=(const OwnDriver &) = delete;

    DriverLibrary &library() { return *library_; }

private:
    std::string tryAnonymousFile(const std::string &original, CopyPlaces &places);
    std::string tryTemporaryFile(const std::string &original, CopyPlaces &places);

    std::unique_ptr<DriverLibrary> library_;
    /// Of the anonymous file, or -1. Open as long as the copy is loaded: the loader tells files apart by
    /// their names, and the number is the name.
    int descriptor_ = -1;
};

} // namespace plc::runtime

#endif
