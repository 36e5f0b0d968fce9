#include "platform/storage/file_lock.h"

#include <QFile>

#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace FrameworkCore::AppData::Storage
{

namespace
{

QString lockPathOf(const QString &path)
{
    return path + QStringLiteral(".lock");
}

} // namespace

FileLock::~FileLock()
{
    release();
}

bool FileLock::acquire(const QString &path)
{
    release();
    const QString lockPath = lockPathOf(path);
    const int descriptor =
        ::open(QFile::encodeName(lockPath).constData(), O_RDWR | O_CREAT | O_NONBLOCK | O_CLOEXEC, 0644);
    if (descriptor < 0)
        return false;
    if (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        ::close(descriptor);
        return false;
    }
    m_lockPath = lockPath;
    m_descriptor = descriptor;
    return true;
}

void FileLock::release()
{
    if (m_descriptor < 0)
        return;
    // Removed while it is held: who takes it in between takes one that has no name any more.
    QFile::remove(m_lockPath);
    ::close(std::exchange(m_descriptor, -1));
}

bool FileLock::IsHeld(const QString &path)
{
    const int descriptor = ::open(QFile::encodeName(lockPathOf(path)).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0)
        return false;
    const bool isHeld = ::flock(descriptor, LOCK_SH | LOCK_NB) != 0;
    ::close(descriptor);
    return isHeld;
}

} // namespace FrameworkCore::AppData::Storage
