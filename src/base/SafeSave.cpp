#include "base/SafeSave.h"

#include "base/RunTimeError.h"

#include <QFileInfo>
#include <QSaveFile>

#include <cerrno>
#include <cstring>

#ifdef Q_OS_UNIX
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace {

// Whether path, or a link on the way to what it names, is a process's open file (/dev/stdout
// is a link to /proc/self/fd/1): what it points to is written in place, even the regular file
// a shell redirected the output to. fd gets the descriptor when the file is one of this
// process's, -1 otherwise.
bool namesOpenFile(const QString& path, int* fd = nullptr) {
    QFileInfo link(path);
    for (int depth = 0; depth < 40; ++depth) {
        const QString folder = QFileInfo(link.absolutePath()).canonicalFilePath();
        if (folder.startsWith(u"/proc/") && folder.endsWith(u"/fd") && folder.count(u'/') == 3) {
            bool number = false;
            const int descriptor = link.fileName().toInt(&number);
            if (fd)
                *fd = number && folder ==
                                    QFileInfo(QStringLiteral("/proc/self/fd")).canonicalFilePath()
                          ? descriptor
                          : -1;
            return true;
        }
        if (!link.isSymLink())
            return false;
        link.setFile(link.symLinkTarget());
    }
    return false;
}

int failed(QString* why, int number, const QString& reason) {
    if (why)
        *why = reason;
    return number;
}

// Why writing to file failed. The system's reason comes first: a write that stops half-way
// (a full disk, a file size limit) leaves the device without an error of its own.
QString reasonOf(const QFileDevice& file, int systemError) {
    if (systemError != 0)
        return QString::fromLocal8Bit(std::strerror(systemError));
    return file.error() == QFileDevice::NoError ? QStringLiteral("not every byte was written")
                                                : file.errorString();
}

int writeStream(const QString& path, const std::function<bool(QIODevice&)>& write, QString* why) {
#ifdef Q_OS_UNIX
    // One of this process's own files (/dev/stdout) is written through its descriptor, so that
    // what the process writes there before and after stays in order. Anything else is opened
    // and appended to: a shell's redirection has decided about truncating. A named pipe waits
    // for its reader here, as every program's output does.
    int own = -1;
    namesOpenFile(path, &own);
    const int fd =
        own >= 0 ? ::fcntl(own, F_DUPFD_CLOEXEC, 0)
                 : ::open(QFile::encodeName(path).constData(), O_WRONLY | O_APPEND | O_CLOEXEC);
    if (fd < 0) {
        const int error = errno;
        return failed(why,
                      RunTimeError::forWrite(path, error == EACCES || error == EPERM
                                                       ? QFileDevice::PermissionsError
                                                       : QFileDevice::OpenError),
                      QString::fromLocal8Bit(std::strerror(error)));
    }
    QFile file;
    if (!file.open(fd, QIODevice::WriteOnly, QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        return failed(why, RunTimeError::forWrite(path, file.error()), file.errorString());
    }
    errno = 0;
    if (!write(file) || !file.flush())
        return failed(why, RunTimeError::forWrite(path, QFileDevice::WriteError),
                      reasonOf(file, errno));
    return 0;
#else
    Q_UNUSED(write);
    return failed(why, RunTimeError::forWrite(path, QFileDevice::OpenError),
                  QStringLiteral("it is not a regular file"));
#endif
}

} // namespace

SaveTarget saveTarget(const QString& path) {
    const QFileInfo info(path); // follows links
    if (!info.exists())
        return SaveTarget::NewFile;
    if (namesOpenFile(path))
        return SaveTarget::Stream;
    if (info.isFile())
        return SaveTarget::File;
#ifdef Q_OS_UNIX
    struct stat status {};
    if (!info.isDir() && ::stat(QFile::encodeName(path).constData(), &status) == 0 &&
        (S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode)))
        return SaveTarget::Stream;
#endif
    return SaveTarget::Unusable;
}

int saveWith(const QString& path, const std::function<bool(QIODevice&)>& write, Streams streams,
             QString* why) {
    switch (saveTarget(path)) {
    case SaveTarget::Unusable:
        return failed(why, RunTimeError::PathFileAccess,
                      QFileInfo(path).isDir()
                          ? QStringLiteral("it is a folder")
                          : QStringLiteral("it is not a file, a pipe or a terminal"));
    case SaveTarget::Stream:
        if (streams == Streams::Write)
            return writeStream(path, write, why);
        return failed(why, RunTimeError::PathFileAccess,
                      QStringLiteral("it is not a regular file"));
    case SaveTarget::NewFile:
    case SaveTarget::File:
        break;
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return failed(why, RunTimeError::forWrite(path, file.error()), file.errorString());
    // A small file stays in the device's buffer until commit(), which renames the new file over
    // the target even when writing that buffer out fails. So the buffer is written out and
    // synced here, and only a complete file is renamed.
    errno = 0;
    bool complete = write(file) && file.flush();
    QString reason = complete ? QString() : reasonOf(file, errno);
#ifdef Q_OS_UNIX
    if (complete && ::fsync(file.handle()) != 0 && errno != EINVAL && errno != EROFS) {
        complete = false;
        reason = reasonOf(file, errno);
    }
#endif
    if (!complete) {
        const QFileDevice::FileError error =
            file.error() == QFileDevice::NoError ? QFileDevice::WriteError : file.error();
        file.cancelWriting();
        return failed(why, RunTimeError::forWrite(path, error), reason);
    }
    if (!file.commit())
        return failed(why, RunTimeError::forWrite(path, file.error()), file.errorString());
    return 0;
}

int saveWhole(const QString& path, const QByteArray& content, Streams streams, QString* why) {
    return saveWith(
        path, [&content](QIODevice& out) { return out.write(content) == content.size(); }, streams,
        why);
}
