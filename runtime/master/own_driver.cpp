#include "runtime/master/own_driver.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>

#include "runtime/line/failure.h"

namespace plc::runtime {

namespace {

/// The table of loaded files belongs to the process. Two lines that are opened at the same time must not both
/// find the file free.
std::mutex &loading()
{
    static std::mutex mutex;
    return mutex;
}

/// Path of the file if it is loaded in the process; nothing if it is not.
std::optional<std::string> loadedFrom(const std::string &path)
{
    void *const handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD);
    if (!handle)
        return std::nullopt;
    link_map *entry = nullptr;
    const bool isKnown = dlinfo(handle, RTLD_DI_LINKMAP, &entry) == 0 && entry->l_name[0] != '\0';
    const std::string found = isKnown ? entry->l_name : path;
    dlclose(handle);
    return found;
}

std::string systemError()
{
    return std::strerror(errno);
}

class OpenFile
{
public:
    explicit OpenFile(int descriptor) : descriptor_(descriptor) {}
    ~OpenFile()
    {
        if (descriptor_ >= 0)
            close(descriptor_);
    }
    OpenFile(const OpenFile &) = delete;
    OpenFile &operator=(const OpenFile &) = delete;
    int descriptor() const { return descriptor_; }

private:
    int descriptor_;
};

bool writeAll(int to, const char *bytes, std::size_t size)
{
    while (size > 0) {
        const ssize_t written = write(to, bytes, size);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

/// @return why it is not done; empty when it is.
std::string copyInto(int to, const std::string &original)
{
    const OpenFile from(open(original.c_str(), O_RDONLY | O_CLOEXEC));
    if (from.descriptor() < 0)
        return "'" + original + "' cannot be read: " + systemError();
    std::array<char, 65536> piece;
    for (;;) {
        const ssize_t size = read(from.descriptor(), piece.data(), piece.size());
        if (size < 0 && errno == EINTR)
            continue;
        if (size < 0)
            return "'" + original + "' cannot be read: " + systemError();
        if (size == 0)
            return std::string();
        if (!writeAll(to, piece.data(), static_cast<std::size_t>(size)))
            return systemError();
    }
}

} // namespace

int CopyPlaces::anonymousFile()
{
#ifdef SYS_memfd_create
    constexpr unsigned kCloseOnExec = 1;
    constexpr unsigned kMayBeRun = 0x10; // Linux 6.3 and later; earlier kernels refuse the flag and allow it
    const long file = syscall(SYS_memfd_create, "plcdriver", kCloseOnExec | kMayBeRun);
    if (file >= 0 || errno != EINVAL)
        return static_cast<int>(file);
    return static_cast<int>(syscall(SYS_memfd_create, "plcdriver", kCloseOnExec));
#else
    errno = ENOSYS;
    return -1;
#endif
}

std::string CopyPlaces::temporaryFolder()
{
    const char *const folder = std::getenv("TMPDIR");
    return folder && folder[0] != '\0' ? folder : "/tmp";
}

OwnDriver::OwnDriver(const std::string &path, CopyPlaces &&places)
{
    const std::lock_guard<std::mutex> lock(loading());
    const std::optional<std::string> original = loadedFrom(path);
    if (!original) {
        library_ = std::make_unique<DriverLibrary>(path);
        return;
    }
    const std::string inMemory = tryAnonymousFile(*original, places);
    if (library_)
        return;
    const std::string inFolder = tryTemporaryFile(*original, places);
    if (library_)
        return;
    throw Failure(
        FailureKind::Driver,
        "the driver '" + *original +
            "' is loaded in this process already, and no copy of it can be: in memory: " + inMemory +
            "; in a temporary file: " + inFolder + "; name with TMPDIR a folder whose files may be run");
}

OwnDriver::~OwnDriver()
{
    library_.reset();
    if (descriptor_ >= 0)
        close(descriptor_);
}

/// @return why it is not loaded; empty when it is.
std::string OwnDriver::tryAnonymousFile(const std::string &original, CopyPlaces &places)
{
    const int file = places.anonymousFile();
    if (file < 0)
        return systemError();
    std::string refusal = copyInto(file, original);
    if (refusal.empty()) {
        try {
            library_ = std::make_unique<DriverLibrary>("/proc/self/fd/" + std::to_string(file));
            descriptor_ = file;
            return std::string();
        } catch (const Failure &failure) {
            refusal = failure.what();
        }
    }
    close(file);
    return refusal;
}

/// @return why it is not loaded; empty when it is.
std::string OwnDriver::tryTemporaryFile(const std::string &original, CopyPlaces &places)
{
    std::string name = places.temporaryFolder() + "/plcdriver.XXXXXX";
    const OpenFile file(mkstemp(name.data()));
    if (file.descriptor() < 0)
        return "'" + name + "' cannot be made: " + systemError();
    std::string refusal = copyInto(file.descriptor(), original);
    if (refusal.empty()) {
        try {
            library_ = std::make_unique<DriverLibrary>(name);
        } catch (const Failure &failure) {
            refusal = failure.what();
        }
    }
    unlink(name.c_str());
    return refusal;
}

} // namespace plc::runtime
