#include "connections/update/scp_upload_p.h"

#include "connections/update/shell_quoting.h"

namespace CommonNOX::Connections
{

namespace
{

constexpr qint64 PieceSize = 32 * 1024;
constexpr int MaximumReason = 1024;
constexpr int NotFoundStatus = 127;

class ScpSink
{
public:
    explicit ScpSink(SshLink &link) : m_link(link), m_work(link), m_channel(link) {}

    /// A clause when it fails.
    QString send(FileUpload &upload, const std::function<void(qint64)> &progress);

private:
    QString readAcknowledgement();
    QString write(const QByteArray &bytes);
    QString sendContent(FileUpload &upload, const std::function<void(qint64)> &progress);
    QString finish();

    SshLink &m_link;
    SshWork m_work;
    SshChannel m_channel;
};

QString ScpSink::readAcknowledgement()
{
    char code = 0;
    if (!m_channel.read(&code, 1, m_work)) {
        if (!m_link.isOpen() || m_link.isCancelled())
            return m_link.failure();
        const int status = ssh_channel_get_exit_status(m_channel.get());
        return status == NotFoundStatus ? QStringLiteral("the device has neither SFTP nor scp")
                                        : QStringLiteral("scp ended with exit status %1").arg(status);
    }
    if (code == 0)
        return {};
    QByteArray reason;
    for (char letter = 0; reason.size() < MaximumReason && m_channel.read(&letter, 1, m_work) && letter != '\n';)
        reason.append(letter);
    // Without a known code it is no acknowledgement at all, but what some program wrote.
    if (code != 1 && code != 2)
        reason.prepend(code);
    return QStringLiteral("the device reports \"%1\"").arg(QString::fromUtf8(reason).simplified());
}

QString ScpSink::write(const QByteArray &bytes)
{
    return m_channel.write(bytes.constData(), bytes.size(), m_work) ? QString() : m_link.failure();
}

QString ScpSink::sendContent(FileUpload &upload, const std::function<void(qint64)> &progress)
{
    UploadSource source;
    QString fault;
    if (!source.open(upload, fault))
        return fault;
    while (!source.isAtEnd()) {
        const QByteArray piece = source.read(PieceSize, fault);
        if (piece.isEmpty())
            return fault;
        fault = write(piece);
        if (!fault.isEmpty())
            return fault;
        progress(source.sent());
    }
    upload.sha256 = source.digest();
    return write(QByteArray(1, '\0'));
}

QString ScpSink::finish()
{
    if (ssh_channel_send_eof(m_channel.get()) != SSH_OK)
        return m_link.failure();
    const int status = ssh_channel_get_exit_status(m_channel.get());
    if (status == 0)
        return {};
    return m_link.isOpen() ? QStringLiteral("scp ended with exit status %1").arg(status) : m_link.failure();
}

QString ScpSink::send(FileUpload &upload, const std::function<void(qint64)> &progress)
{
    const QByteArray command = "scp -t -- " + QuotePathForShell(upload.remotePath);
    if (!m_channel.get() || ssh_channel_request_exec(m_channel.get(), command.constData()) != SSH_OK)
        return m_link.failure();
    m_work.note();
    QString fault = readAcknowledgement();
    // The sink's own argument names the file; the name in the line only has to be one.
    if (fault.isEmpty())
        fault = write("C0600 " + QByteArray::number(upload.size) + " part\n");
    if (fault.isEmpty())
        fault = readAcknowledgement();
    if (fault.isEmpty())
        fault = sendContent(upload, progress);
    if (fault.isEmpty())
        fault = readAcknowledgement();
    return fault.isEmpty() ? finish() : fault;
}

} // namespace

bool SendByScp(SshLink &link, FileUpload &upload, const std::function<void(qint64)> &progress, QString &error)
{
    const QString fault = ScpSink(link).send(upload, progress);
    if (!fault.isEmpty())
        error = QStringLiteral("%1 cannot be written: %2").arg(upload.remotePath, fault);
    return fault.isEmpty();
}

} // namespace CommonNOX::Connections
