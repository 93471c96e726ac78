#include <cstdio>

#include "host/commands/asked_line.h"
#include "host/commands/command_options.h"
#include "host/commands/commands.h"
#include "host/commands/finding_reports.h"
#include "host/commands/output.h"
#include "host/commands/standard_streams.h"
#include "runtime/line/rtu_layout.h"

namespace plc::host {

namespace {

constexpr int kLongestRaw = 512;

int digitOf(char character)
{
    const std::string digits = "0123456789abcdef";
    const auto at = digits.find(static_cast<char>(character | 0x20));
    return character >= '0' && at != std::string::npos ? static_cast<int>(at) : -1;
}

/// "11 03 00", "1103 00" and "0x11": two digits a byte.
QByteArray bytesOf(const std::vector<std::string> &words)
{
    QByteArray bytes;
    for (const std::string &word : words) {
        std::string digits;
        for (std::size_t at = 0; at < word.size(); ++at) {
            const bool isPrefix = word.compare(at, 2, "0x") == 0 || word.compare(at, 2, "0X") == 0;
            if (isPrefix && digits.size() % 2 == 0)
                ++at;
            else if (word[at] != ' ' && word[at] != ',' && word[at] != ':')
                digits += word[at];
        }
        for (std::size_t at = 0; at < digits.size(); at += 2) {
            const int high = digitOf(digits[at]);
            const int low = at + 1 < digits.size() ? digitOf(digits[at + 1]) : -1;
            if (high < 0 || low < 0)
                throw Failure(FailureKind::Usage,
                              "'" + word +
                                  "' is no row of bytes; each has two hexadecimal digits, as 11 03 00 64");
            bytes.append(static_cast<char>(high * 16 + low));
        }
    }
    if (bytes.isEmpty() || bytes.size() > kLongestRaw)
        throw Failure(FailureKind::Usage, "1 to " + std::to_string(kLongestRaw) + " bytes can be sent, not " +
                                              std::to_string(bytes.size()));
    return bytes;
}

/// Whether the answer to these bytes can be told from whatever else comes.
bool isRequest(const QByteArray &frame)
{
    if (frame.size() < kShortestFrame || frame.at(0) == 0)
        return false;
    const bool hasCrc = runtime::crcFits(frame.constData(), frame.size(), false) ||
                        runtime::crcFits(frame.constData(), frame.size(), true);
    return hasCrc && (frame.at(1) & kExceptionBit) == 0;
}

/// Whether the frame, CRC included, is one request within the standard's limits, with nothing behind it.
bool isOneRequest(const QByteArray &frame)
{
    const auto *const bytes = reinterpret_cast<const unsigned char *>(frame.constData());
    const runtime::ContentLength length = runtime::requestLengthAt(bytes, static_cast<int>(frame.size()));
    return length.kind == runtime::ContentLength::Kind::Known && length.bytes == frame.size();
}

bool isBroadcast(const QByteArray &frame)
{
    return frame.at(0) == 0 && isOneRequest(frame) &&
           (runtime::crcFits(frame.constData(), frame.size(), false) ||
            runtime::crcFits(frame.constData(), frame.size(), true));
}

/// @throw Failure  (wrong usage) for bytes that may change something.
void refuseWrites(const RawOptions &options, const QByteArray &frame)
{
    if (options.noCrc)
        throw Failure(FailureKind::Usage, "--read-only: without --no-crc, since stations may take bytes "
                                          "whose CRC is not added here for several requests");
    if (!runtime::changesNothing(frame))
        throw Failure(FailureKind::Usage,
                      "--read-only: the bytes are no request of which it is known that it only reads");
    if (!isOneRequest(frame))
        throw Failure(
            FailureKind::Usage,
            "--read-only: the bytes must be one whole request, without its CRC and within the limits "
            "of the standard");
}

} // namespace

ExitCode sendRaw(const RawOptions &options)
{
    const LinkSettings link = options.link();
    const QByteArray bytes = bytesOf(options.bytes);
    Question question;
    question.frame = options.noCrc ? bytes : withCrc(bytes, options.wantsCrcHighFirst(link));
    if (options.readOnly)
        refuseWrites(options, question.frame);
    // Nobody answers a broadcast; each station has the turnaround to carry it out.
    const bool isToAll = isBroadcast(question.frame);
    if (isToAll)
        question.timeout = link.turnaround;
    question.retries = 0;
    question.takesAnything = !isRequest(question.frame);
    AskedLine line(link, options);
    const std::optional<Answer> answer = line.ask(question);
    if (!answer)
        return kExitNoReply;
    print(rawReport(question.frame, *answer, isToAll, options.outputFormat(),
                    std::chrono::system_clock::now()));
    return isToAll && answer->kind == AnswerKind::Nothing ? kExitGood : exitCodeOf(*answer);
}

} // namespace plc::host
