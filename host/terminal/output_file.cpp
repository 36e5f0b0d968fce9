#include "host/terminal/output_file.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace NoxHost
{

namespace
{

QString systemReason()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

} // namespace

bool isSameFile(const QString &left, const QString &right)
{
    if (left.isEmpty() || right.isEmpty())
        return false;
    struct stat ofLeft, ofRight;
    const bool isLeft = ::stat(QFile::encodeName(left).constData(), &ofLeft) == 0;
    const bool isRight = ::stat(QFile::encodeName(right).constData(), &ofRight) == 0;
    if (isLeft && isRight)
        return ofLeft.st_dev == ofRight.st_dev && ofLeft.st_ino == ofRight.st_ino;
    const QFileInfo first(left), second(right);
    return !isLeft && !isRight && first.fileName() == second.fileName() &&
           QFileInfo(first.absolutePath()).canonicalFilePath() == QFileInfo(second.absolutePath()).canonicalFilePath();
}

OutputFile::~OutputFile()
{
    if (m_temporary.isEmpty())
        return;
    std::fclose(m_stream);
    ::unlink(m_temporary.constData());
}

bool OutputFile::open(QString &error)
{
    if (m_path.isEmpty()) {
        m_stream = stdout;
        return true;
    }
    m_temporary = QFile::encodeName(m_path) + ".XXXXXX";
    const int descriptor = ::mkstemp(m_temporary.data());
    m_stream = descriptor < 0 ? nullptr : ::fdopen(descriptor, "w");
    if (m_stream) {
        // As a file that is simply made.
        const mode_t mask = ::umask(0);
        ::umask(mask);
        ::fchmod(descriptor, 0666 & ~mask);
        return true;
    }
    error = systemReason();
    m_temporary.clear();
    return false;
}

bool OutputFile::commit(QString &error)
{
    if (m_temporary.isEmpty())
        return true;
    const bool isWritten = std::fclose(m_stream) == 0;
    const bool isDone = isWritten && std::rename(m_temporary.constData(), QFile::encodeName(m_path).constData()) == 0;
    if (!isDone) {
        error = systemReason();
        ::unlink(m_temporary.constData());
    }
    m_temporary.clear();
    m_stream = nullptr;
    return isDone;
}

} // namespace NoxHost
