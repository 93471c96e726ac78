/// @file
/// A driver that nobody has used.
#ifndef PLC_TESTS_BUS_FRESH_DRIVER_H
#define PLC_TESTS_BUS_FRESH_DRIVER_H

#include <string>

#include "runtime/master/driver_library.h"

namespace plc::bus {

/// Loads a copy of the library. The library holds one driver object and stays loaded once it is: but a copy
/// under another name is another library with an object of its own.
class FreshDriver
{
public:
    /// @param path  of the library.
    explicit FreshDriver(const std::string &path);

    runtime::DriverLibrary &library() { return library_; }

private:
    /// The copy, gone as soon as it is loaded.
    struct Copy
    {
        explicit Copy(const std::string &original);
        ~Copy();
        Copy(const Copy &) = delete;
        Copy &operator=(const Copy &) = delete;
        std::string path;
    };

    Copy copy_;
    runtime::DriverLibrary library_;
};

} // namespace plc::bus

#endif
