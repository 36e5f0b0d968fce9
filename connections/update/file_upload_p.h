#pragma once

#include "connections/update/file_digest.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <vector>

namespace CommonNOX::Connections
{

/// A file on its way to a name of its own on the device.
struct FileUpload
{
    QString localPath;
    QString remotePath; ///< must not exist yet
    qint64 size = 0;
    QByteArray sha256; ///< in hexadecimal; of what was sent, set by the upload
};

/// Told how far an upload is: the index of the file and the bytes of it that were sent.
using UploadProgress = std::function<void(int index, qint64 sentBytes)>;

/// Reads a file to be sent piece by piece, and its digest on the way.
class UploadSource
{
public:
    /// False with a sentence in `error`.
    bool open(const FileUpload &upload, QString &error);
    /// The next piece of at most `most` bytes; empty with a sentence in `error` when the file is not what it was.
    QByteArray read(qint64 most, QString &error);
    bool isAtEnd() const { return m_sent == m_size; }
    qint64 sent() const { return m_sent; }
    QByteArray digest() { return m_digest.hexadecimal(); }

private:
    QFile m_file;
    FileDigest m_digest;
    qint64 m_size = 0;
    qint64 m_sent = 0;
};

} // namespace CommonNOX::Connections
