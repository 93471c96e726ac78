#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "host/commands/capture_option.h"
#include "host/commands/command_options.h"
#include "host/commands/commands.h"
#include "host/commands/find_table.h"
#include "host/commands/interrupt.h"
#include "host/commands/standard_streams.h"
#include "host/commands/station_list.h"
#include "host/finding/scan_lists.h"
#include "host/finding/scan_project.h"
#include "host/project/project_writer.h"
#include "host/project/setting_names.h"
#include "runtime/line/failure.h"
#include "runtime/line/number_text.h"
#include "runtime/line/serial_port.h"
#include "runtime/line/terminal_system.h"
#include "runtime/panel/utf8.h"

namespace plc::host {

namespace {

using namespace std::chrono_literals; // NOLINT(google-build-using-namespace)

constexpr Time kShortestWait = 1ms;
constexpr Time kLongestWait = 10s;
constexpr Time kLongestListen = 600s;
/// How long Ctrl-C may go unnoticed.
constexpr Time kSlice = 20ms;
constexpr Time kBetweenTellings = 500ms;

ScanPlan planOf(const ScanOptions &options)
{
    ScanPlan plan;
    const std::string mistake = stationListMistake(options.stations, &plan.stations, 1);
    if (!mistake.empty())
        throw Failure(FailureKind::Usage, "--station: " + mistake);
    plan.settings =
        likelyFirst(baudList(options.bauds), parityList(options.parities), stopBitList(options.stopBits));
    plan.wait = timeTyped("--wait", options.wait, kShortestWait, kLongestWait);
    plan.listen = timeTyped("--listen", options.listen, 0s, kLongestListen);
    plan.anyway = options.anyway;
    setAsked(options.ask, &plan);
    return plan;
}

LineSettings settingsOf(const ScanOptions &options, const ScanSetting &setting)
{
    LineSettings line;
    line.port = options.port;
    line.baud = setting.baud;
    line.parity = setting.parity;
    line.stopBits = setting.stopBits;
    line.anyRate = options.anyRate;
    if (!options.rs485.empty())
        line.rs485 = rs485Named(options.rs485);
    return line;
}

/// The port of one setting. Whatever stands between the scan and the line goes around it here.
std::unique_ptr<Port> openPort(const ScanOptions &options, const ScanSetting &setting,
                               const std::shared_ptr<Capture> &capture)
{
    const PortListener listener = [&options](const PortNote &note) {
        if (note.isWarning || options.verbose)
            std::fprintf(stderr, "plchost: %s\n", note.text.c_str());
    };
    return captured(std::make_unique<SerialPort>(settingsOf(options, setting), listener), capture);
}

/// The capture of a scan, null where none is asked for.
/// @throw Failure  (wrong usage) for several settings: a capture has one.
std::shared_ptr<Capture> captureOf(const ScanOptions &options, const ScanPlan &plan)
{
    if (!options.captureFile.empty() && plan.settings.size() > 1)
        throw Failure(FailureKind::Usage,
                      "--capture: a capture has one rate and one parity; name one of each, with -b and -P");
    if (options.captureFile == "-")
        throw Failure(FailureKind::Usage,
                      "--capture: - is for listen; here finds go to standard output, so name a file");
    return openCapture(options.captureFile, settingsOf(options, plan.settings.front()));
}

/// "3 min 20 s".
std::string duration(Time time)
{
    const auto whole = static_cast<int>(std::ceil(seconds(time)));
    return whole < 60 ? std::to_string(whole) + " s"
                      : std::to_string(whole / 60) + " min " + std::to_string(whole % 60) + " s";
}

/// What the scan tells, on standard error, and its finds, on standard output.
class Teller : public ScanObserver
{
public:
    explicit Teller(const ScanOptions &options) : options_(options) {}

    void watch(const Scan *scan) { scan_ = scan; }

    void heard(const LineUse &use) override
    {
        isInUse_ = use.isInUse;
        if (!use.isInUse)
            return;
        std::string what = "the line is in use: ";
        if (use.setting)
            what += std::to_string(use.frames) + " frames at " + use.setting->text();
        else
            what += std::to_string(use.bytes) + " bytes that are no frames at any of these settings";
        if (!options_.anyway)
            what += "; nothing was sent, --anyway asks all the same";
        say(what);
    }

    void settingBegins(const ScanSetting &setting) override
    {
        if (!options_.quiet)
            say(setting.text() + "; " + duration(scan_->timeLeft()) + " left");
    }

    void stationAnswers(const ScanSetting &setting, int station) override
    {
        if (!options_.quiet)
            say("station " + std::to_string(station) + " answers at " + setting.text());
        ++answering_;
    }

    void settingEnds(const SettingReport &report) override
    {
        finds.insert(finds.end(), report.finds.begin(), report.finds.end());
        isBabbling = isBabbling || report.isBabbling;
        if (report.hasEcho)
            echoing_.push_back(report.setting);
        const std::string remarks = remarksOn(report);
        if (!remarks.empty())
            say(report.setting.text() + ": " + remarks);
        if (options_.outputFormat() == Format::Text)
            return;
        print(findLines(report.finds, options_.outputFormat(), std::chrono::system_clock::now(), !hasHead_));
        hasHead_ = true;
    }

    /// Where that is wanted: bytes as they go out and come in.
    void trace(const char *arrow, const QByteArray &bytes)
    {
        constexpr int kMicroseconds = 6;
        if (options_.verbose)
            std::fprintf(stderr, "%s %s %s %s\n",
                         isoTime(std::chrono::system_clock::now(), kMicroseconds).c_str(),
                         secondsText(steadyNow() - startedAt_, 13).c_str(), arrow,
                         hexText(bytes.constData(), static_cast<std::size_t>(bytes.size())).c_str());
    }

    /// On a terminal, now and then: how far the scan is.
    void tellProgress(Time now)
    {
        if (options_.quiet || ::isatty(STDERR_FILENO) == 0 || now < toldAt_ + kBetweenTellings)
            return;
        toldAt_ = now;
        std::fprintf(stderr, "\r%s left, %d found\033[K", duration(scan_->timeLeft()).c_str(), answering_);
        hasProgress_ = true;
    }

    void say(const std::string &text)
    {
        std::fprintf(stderr, "%splchost: %s\n", hasProgress_ ? "\r\033[K" : "", text.c_str());
        hasProgress_ = false;
    }

    std::vector<Find> finds;
    bool isBabbling = false;
    bool isInUse() const { return isInUse_; }
    bool hasEcho(const ScanSetting &setting) const
    {
        return std::find(echoing_.begin(), echoing_.end(), setting) != echoing_.end();
    }

private:
    const ScanOptions &options_;
    const Scan *scan_ = nullptr;
    std::vector<ScanSetting> echoing_;
    Time startedAt_ = steadyNow();
    Time toldAt_{};
    bool hasProgress_ = false;
    bool hasHead_ = false;
    bool isInUse_ = false;
    int answering_ = 0;
};

std::uint64_t damagedCharacters(Port *port)
{
    const std::optional<LineErrors> errors = port->errors();
    return errors ? errors->parity + errors->framing : 0;
}

/// Carries the scan out on a port.
/// @throw Failure  (port)
void carryOut(const ScanOptions &options, const std::shared_ptr<Capture> &capture, Scan *scan, Teller *teller)
{
    std::unique_ptr<Port> port;
    bool wasOpened = false;
    std::uint64_t damaged = 0;
    QByteArray arrived;
    for (;;) {
        if (isInterrupted() || isOutputOver())
            scan->stop();
        if (port) {
            const std::uint64_t all = damagedCharacters(port.get());
            scan->noticed(all - damaged);
            damaged = all;
        }
        const ScanStep step = scan->advance(steadyNow(), arrived);
        arrived.clear();
        if (step.isOver)
            return;
        if (step.open) {
            const bool isFirst = !wasOpened;
            port.reset(); // it gives back the settings that it has found
            try {
                port = openPort(options, *step.open, capture);
                wasOpened = true;
            } catch (const PortAbsent &) {
                throw;
            } catch (const Failure &failure) {
                if (isFirst)
                    throw;
                teller->say(failure.what());
                scan->skipSetting();
            }
            damaged = 0;
            continue;
        }
        if (!step.send.isEmpty()) {
            teller->trace("->", step.send);
            port->send(step.send);
        }
        arrived = port->receive(std::min(step.wakeAt, steadyNow() + kSlice));
        if (!arrived.isEmpty())
            teller->trace("<-", arrived);
        teller->tellProgress(steadyNow());
    }
}

/// A scan takes minutes, so that a file that cannot be made is refused before.
void refuseProjectFile(const std::string &file)
{
    struct stat status
    {};
    if (file.empty())
        return;
    if (::stat(file.c_str(), &status) == 0)
        throw Failure(FailureKind::Usage, "--write-project: '" + file + "' is there already");
    const std::size_t slash = file.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : file.substr(0, slash + 1);
    if (::access(folder.c_str(), W_OK | X_OK) != 0)
        throw Failure(FailureKind::Usage, "--write-project: '" + file + "' cannot be written: " +
                                              std::strerror(errno) + "; name a file in a folder of yours");
}

/// @return false where the file could not be written, which was told.
bool writeProject(const ScanOptions &options, const Teller &teller)
{
    const ScanSetting setting = mostFound(teller.finds);
    const Project project =
        projectOf(teller.finds, settingsOf(options, setting), teller.hasEcho(setting), options.ask);
    const std::string text = projectText(project);
    std::FILE *const file = std::fopen(options.projectFile.c_str(), "wx");
    const bool isWritten = file != nullptr && std::fwrite(text.data(), 1, text.size(), file) == text.size();
    const int mistake = errno;
    const bool isClosed = file != nullptr && std::fclose(file) == 0;
    if (!isWritten || !isClosed) {
        std::fprintf(stderr, "plchost: '%s' cannot be written: %s\n", options.projectFile.c_str(),
                     std::strerror(isWritten ? errno : mistake));
        failOutput();
        return false;
    }
    if (project.variables.size() < teller.finds.size())
        std::fprintf(stderr, "plchost: '%s' has the %d stations at %s; a line has one setting\n",
                     options.projectFile.c_str(), static_cast<int>(project.variables.size()),
                     setting.text().c_str());
    return true;
}

} // namespace

ExitCode scanLine(const ScanOptions &options)
{
    ScanPlan plan = planOf(options);
    if (!options.rs485.empty())
        rs485Named(options.rs485); // refuses before anything is opened
    refuseProjectFile(options.projectFile);
    if (plan.settings.size() > 1 && isPseudoTerminal(options.port)) {
        plan.settings.resize(1);
        if (!options.quiet)
            std::fprintf(stderr,
                         "plchost: '%s' is a pseudo-terminal, which has neither rate nor parity; one "
                         "setting is tried for all\n",
                         options.port.c_str());
    }
    const std::shared_ptr<Capture> capture = captureOf(options, plan);
    catchInterrupts();
    Teller teller(options);
    Scan scan(plan, teller);
    teller.watch(&scan);
    std::string lost;
    try {
        carryOut(options, capture, &scan, &teller);
    } catch (const Failure &failure) {
        lost = failure.what();
        scan.stop();
    }
    finishCapture(capture.get());
    const std::vector<Find> &finds = teller.finds;
    if (options.outputFormat() == Format::Text)
        print(findLines(finds, Format::Text, std::chrono::system_clock::now(), true));
    if (!finds.empty() && !options.projectFile.empty())
        writeProject(options, teller);
    if (!lost.empty())
        throw Failure(FailureKind::Port, lost);
    if (teller.isInUse() && !options.anyway)
        return kExitLineInUse;
    if (!finds.empty())
        return kExitGood;
    if (!isInterrupted())
        teller.say(teller.isBabbling
                       ? "nothing found on a line that never falls silent"
                       : "no station has answered; it may take longer than --wait, or have other "
                         "settings than those tried");
    return kExitNoReply;
}

} // namespace plc::host
