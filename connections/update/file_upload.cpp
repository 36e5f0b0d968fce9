#include "connections/update/file_upload_p.h"

namespace CommonNOX::Connections
{

bool UploadSource::open(const FileUpload &upload, QString &error)
{
    m_size = upload.size;
    m_file.setFileName(upload.localPath);
    if (m_file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return true;
    error = QStringLiteral("%1 cannot be read: %2").arg(upload.localPath, m_file.errorString());
    return false;
}

QByteArray UploadSource::read(qint64 most, QString &error)
{
    const QByteArray piece = m_file.read(std::min(most, m_size - m_sent));
    if (piece.isEmpty())
        error = QStringLiteral("%1 became shorter while it was sent").arg(m_file.fileName());
    m_digest.add(piece.constData(), std::size_t(piece.size()));
    m_sent += piece.size();
    return piece;
}

} // namespace CommonNOX::Connections
