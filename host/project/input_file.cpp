#include "host/project/input_file.h"

#include <QFile>

#include <unistd.h>

#include "runtime/line/failure.h"

namespace plc::host {

namespace {

constexpr qint64 kPiece = 65536;
constexpr std::size_t kMebibyte = std::size_t{1024} * 1024;

std::string textOf(QFile *file, const std::string &name)
{
    QByteArray text;
    for (QByteArray piece = file->read(kPiece); !piece.isEmpty(); piece = file->read(kPiece)) {
        text += piece;
        if (static_cast<std::size_t>(text.size()) > kLargestFile)
            throw Failure(FailureKind::Usage, name + " is larger than " +
                                                  std::to_string(kLargestFile / kMebibyte) +
                                                  " MiB, and no larger file is read");
    }
    if (file->error() != QFile::NoError)
        throw Failure(FailureKind::Usage, name + " cannot be read: " + file->errorString().toStdString());
    return text.toStdString();
}

} // namespace

std::string textOfFile(const std::string &path)
{
    QFile file(QString::fromStdString(path));
    const std::string name = "'" + path + "'";
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        throw Failure(FailureKind::Usage, name + " cannot be read: " + file.errorString().toStdString());
    return textOf(&file, name);
}

std::string textOfInput(const std::string &path)
{
    if (path != "-")
        return textOfFile(path);
    QFile file;
    if (!file.open(STDIN_FILENO, QIODevice::ReadOnly | QIODevice::Unbuffered))
        throw Failure(FailureKind::Usage,
                      "standard input cannot be read: " + file.errorString().toStdString());
    return textOf(&file, "standard input");
}

} // namespace plc::host
