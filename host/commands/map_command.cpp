#include <QFile>
#include <QSaveFile>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "host/commands/asked_line.h"
#include "host/commands/command_options.h"
#include "host/commands/commands.h"
#include "host/commands/finding_reports.h"
#include "host/commands/output.h"
#include "host/commands/standard_streams.h"
#include "host/finding/map_project.h"
#include "host/finding/map_state.h"
#include "host/project/input_file.h"
#include "host/project/project_writer.h"
#include "host/project/register_map.h"
#include "runtime/panel/utf8.h"

namespace plc::host {

namespace {

constexpr Time kSaveEvery = std::chrono::seconds(2);
constexpr Time kTellEvery = std::chrono::seconds(1);

/// What a typed area has: "4x", "0x:16", "3x:0-999".
MapWish wishOf(const AreaMapOptions &options, const LinkSettings &link)
{
    MapWish wish;
    wish.station = options.askedStations().front();
    wish.crcHighFirst = options.wantsCrcHighFirst(link);
    wish.least = options.exact ? 1 : options.least;
    wish.retries = std::max(link.retries, 1);
    wish.timeout = link.timeout;
    const std::string &text = options.area;
    const std::size_t colon = std::min(text.find(':'), text.size());
    const std::string area = text.substr(0, colon);
    for (const int function : {1, 2, 3, 4})
        wish.function = area == areaOfFunction(function) ? function : wish.function;
    const QString range = fromUtf8(colon < text.size() ? text.substr(colon + 1) : std::string());
    bool isFirst = true;
    bool isLast = true;
    const int first = colon < text.size() ? range.section('-', 0, 0).toInt(&isFirst) : 0;
    const int last = colon < text.size() ? range.section('-', 1).toInt(&isLast) : kAddresses - 1;
    const bool isRange =
        isFirst && isLast && range.toStdString().find_first_not_of("0123456789-") == std::string::npos;
    if (area != areaOfFunction(wish.function) || !isRange || first < 0 || last < first || last >= kAddresses)
        throw Failure(FailureKind::Usage, "'" + text +
                                              "' is no area to map; it is 0x, 1x, 3x or 4x, with a range of "
                                              "addresses behind it where wanted, as 4x:0-999");
    wish.first = first;
    wish.count = last - first + 1;
    wish.block = isReadOfBits(wish.function) ? kMostReadBits : kMostReadRegisters;
    if (options.known >= 0)
        wish.known = options.known;
    return wish;
}

/// Replaces the file as a whole.
void save(const std::string &path, const std::string &text, const char *option)
{
    QSaveFile file(fromUtf8(path));
    const QByteArray bytes = QByteArray::fromStdString(text);
    if (file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit())
        return;
    std::fprintf(stderr, "plchost: %s: '%s' cannot be written: %s\n", option, path.c_str(),
                 toUtf8(file.errorString()).c_str());
    failOutput();
}

void refuseExisting(const std::string &path, const char *option)
{
    if (!path.empty() && QFile::exists(fromUtf8(path)))
        throw Failure(FailureKind::Usage,
                      std::string(option) + ": '" + path + "' exists; name a file that does not");
}

/// Tells what is in the way of save() before anything is sent.
/// @throw Failure  (wrong usage)
void refuseUnwritable(const std::string &path, const char *option)
{
    if (path.empty())
        return;
    const std::size_t slash = path.rfind('/');
    // The file is replaced by one that is made beside it.
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    if (access(folder.c_str(), W_OK | X_OK) == 0)
        return;
    const int error = errno;
    failOutput();
    throw Failure(FailureKind::Usage,
                  std::string(option) + ": '" + path + "' cannot be written: " + std::strerror(error));
}

/// A project says itself how large its requests may be; a register map cannot.
std::string csvAdvice(const Project &project, const AreaMapper &mapper)
{
    const int most = project.link.maxBlock;
    if (project.variables.empty() || most >= LinkSettings().maxBlock)
        return std::string();
    const std::string items = isReadOfBits(mapper.wish().function)
                                  ? counted(static_cast<std::uint64_t>(mapper.block()), "bit", "bits")
                                  : counted(static_cast<std::uint64_t>(most), "register", "registers");
    return "plchost: no request may have more than " + items + " here; give project from-csv --max-block " +
           std::to_string(most) + "\n";
}

/// Shows on a terminal how far it is.
class Progress
{
public:
    explicit Progress(bool quiet) : isShown_(!quiet && isatty(STDERR_FILENO) != 0) {}
    ~Progress()
    {
        if (told_ > Time::zero())
            std::fputs("\r\x1B[K", stderr);
    }
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    void tell(const AreaMapper &mapper, std::uint64_t requests)
    {
        const Time now = steadyNow();
        if (!isShown_ || now < told_ + kTellEvery)
            return;
        told_ = now;
        std::fprintf(stderr, "\rplchost: %.0f %%, %s, %s\x1B[K", 100 * mapper.progress(),
                     counted(mapper.islands().size(), "island", "islands").c_str(),
                     counted(requests, "request", "requests").c_str());
    }

private:
    bool isShown_;
    Time told_{};
};

ExitCode exitCodeOf(const AreaMapper &mapper)
{
    const bool isFound = !mapper.islands().empty();
    switch (mapper.end()) {
    case MapEnd::Done:
        return isFound ? kExitGood : mapper.codes().empty() ? kExitNoReply : kExitException;
    case MapEnd::UnknownFunction:
        return kExitException;
    case MapEnd::Open:
    case MapEnd::NoAnswer:
        break;
    }
    return isFound ? kExitMixed : kExitNoReply;
}

} // namespace

ExitCode mapArea(const AreaMapOptions &options)
{
    const LinkSettings link = options.link();
    const MapWish wish = wishOf(options, link);
    refuseExisting(options.writeProject, "--write-project");
    AreaMapper mapper(wish);
    if (!options.resume.empty() && QFile::exists(fromUtf8(options.resume))) {
        const MapState state = parseMapState(options.resume, textOfFile(options.resume), wish);
        mapper.remember(state.places, state.block);
    }
    refuseUnwritable(options.resume, "--resume");
    refuseUnwritable(options.writeProject, "--write-project");
    AskedLine line(link, options);
    const auto keep = [&] {
        if (!options.resume.empty())
            save(options.resume, mapStateText(mapper), "--resume");
    };
    {
        Progress progress(options.quiet || options.verbose);
        Time nextSave = steadyNow() + kSaveEvery;
        const auto heed = [&](const Answer &) {
            progress.tell(mapper, line.requests());
            if (steadyNow() < nextSave)
                return;
            keep();
            nextSave = steadyNow() + kSaveEvery;
        };
        try {
            line.carryOut(mapper, heed);
        } catch (const Failure &) {
            keep();
            throw;
        }
    }
    keep();
    const std::vector<Stretch> islands = mapper.islands();
    const Project project = projectOf(mapper, link);
    if (options.outputFormat() == Format::Csv)
        print(islands.empty() ? std::string() : registerMapText(project));
    else
        print(mapReport(mapper, line.requests(), options.outputFormat(), std::chrono::system_clock::now()));
    if (!options.quiet)
        std::fputs(mapAdvice(mapper, options.resume).c_str(), stderr);
    if (!options.quiet && options.outputFormat() == Format::Csv)
        std::fputs(csvAdvice(project, mapper).c_str(), stderr);
    if (!options.writeProject.empty() && !islands.empty())
        save(options.writeProject, projectText(project), "--write-project");
    return exitCodeOf(mapper);
}

} // namespace plc::host
