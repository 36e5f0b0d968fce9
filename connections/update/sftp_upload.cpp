#include "connections/update/sftp_upload_p.h"

#include <QtEndian>

#include <algorithm>

namespace CommonNOX::Connections
{

namespace
{

enum PacketType : char {
    Init = 1,
    Version = 2,
    OpenFile = 3,
    CloseFile = 4,
    WriteFile = 6,
    Status = 101,
    Handle = 102
};
enum StatusCode : quint32 { Ok = 0, NoSuchFile = 2, PermissionDenied = 3 };

constexpr quint32 ProtocolVersion = 3;
/// Write, create, and fail if there is one already.
constexpr quint32 OpenFlags = 0x02 | 0x08 | 0x20;
constexpr quint32 HasPermissions = 0x04;
constexpr quint32 OwnerOnly = 0600;
/// Every server takes packets of 34000 bytes.
constexpr qint64 PieceSize = 32'000;
/// What is on its way without an answer: 2 MB, as much as a channel's window commonly holds.
constexpr std::size_t MaximumPending = 64;
constexpr std::size_t MaximumActive = 32;
/// Answers to what is asked here are short.
constexpr quint32 MaximumPacket = 256 * 1024;

void appendNumber(QByteArray &bytes, quint32 number)
{
    const quint32 wire = qToBigEndian(number);
    bytes.append(reinterpret_cast<const char *>(&wire), sizeof(wire));
}

void appendText(QByteArray &bytes, const QByteArray &text)
{
    appendNumber(bytes, quint32(text.size()));
    bytes.append(text);
}

/// Reads a packet's fields; what is not there reads as 0 or empty and makes it invalid.
class PacketReader
{
public:
    explicit PacketReader(const QByteArray &bytes) : m_bytes(bytes) {}

    quint8 takeByte() { return quint8(take(1).at(0)); }
    quint32 takeNumber() { return qFromBigEndian<quint32>(take(4).constData()); }
    QByteArray takeText()
    {
        const quint32 size = takeNumber();
        if (size <= quint32(m_bytes.size() - m_position))
            return take(int(size));
        m_isValid = false;
        return {};
    }
    bool isValid() const { return m_isValid; }

private:
    QByteArray take(int count)
    {
        if (count > m_bytes.size() - m_position) {
            m_isValid = false;
            m_position = m_bytes.size();
            return QByteArray(count, '\0');
        }
        m_position += count;
        return m_bytes.mid(m_position - count, count);
    }

    const QByteArray &m_bytes;
    int m_position = 0;
    bool m_isValid = true;
};

QString describeStatus(quint32 code, const QString &text)
{
    if (code == NoSuchFile)
        return QStringLiteral("its folder does not exist on the device");
    if (code == PermissionDenied)
        return QStringLiteral("the device does not permit it");
    return QStringLiteral("the device reports \"%1\"").arg(text.simplified().left(200));
}

} // namespace

std::unique_ptr<SftpUpload> SftpUpload::Open(SshLink &link, QString &error)
{
    error.clear();
    SshWork work(link);
    std::unique_ptr<SftpUpload> sftp(new SftpUpload(link));
    if (!sftp->m_channel.get()) {
        error = link.failure();
        return {};
    }
    if (ssh_channel_request_sftp(sftp->m_channel.get()) == SSH_OK && sftp->greet(work, error))
        return sftp;
    if (link.isOpen() && !link.isCancelled())
        error.clear();
    else
        error = link.failure();
    return {};
}

bool SftpUpload::greet(SshWork &work, QString &error)
{
    QByteArray hello;
    appendNumber(hello, 5);
    hello.append(char(Init));
    appendNumber(hello, ProtocolVersion);
    QByteArray packet;
    if (!m_channel.write(hello.constData(), hello.size(), work) || !readPacket(packet, work, error))
        return false;
    PacketReader reader(packet);
    return reader.takeByte() == Version && reader.takeNumber() >= ProtocolVersion && reader.isValid();
}

bool SftpUpload::send(std::vector<FileUpload> &uploads, const UploadProgress &progress, QString &error)
{
    m_uploads = &uploads;
    m_progress = &progress;
    m_opened = m_finished = 0;
    m_active.clear();
    SshWork work(m_link);
    while (m_finished < uploads.size()) {
        std::size_t before = 0;
        do {
            before = m_pending.size();
            if (m_link.isCancelled()) {
                error = m_link.failure();
                return false;
            }
            if (before < MaximumPending && !sendNext(work, error))
                return false;
        } while (m_pending.size() > before);
        if (!takeAnswer(work, error))
            return false;
    }
    return true;
}

/// The next request that makes sense, if any: files are sent in their order, and opened some ahead.
bool SftpUpload::sendNext(SshWork &work, QString &error)
{
    for (const auto &transfer : m_active) {
        if (transfer->handle.isEmpty() || transfer->isClosing)
            continue;
        QByteArray fields;
        appendText(fields, transfer->handle);
        if (transfer->source.isAtEnd()) {
            transfer->isClosing = true;
            return sendRequest(Request::Close, transfer, fields, work, error);
        }
        const auto offset = quint64(transfer->source.sent());
        const QByteArray piece = transfer->source.read(PieceSize, error);
        if (piece.isEmpty())
            return false;
        appendNumber(fields, quint32(offset >> 32));
        appendNumber(fields, quint32(offset));
        appendText(fields, piece);
        return sendRequest(Request::Write, transfer, fields, work, error);
    }
    return m_opened == m_uploads->size() || m_active.size() >= MaximumActive || openNext(work, error);
}

bool SftpUpload::openNext(SshWork &work, QString &error)
{
    const auto transfer = std::make_shared<Transfer>();
    transfer->index = int(m_opened);
    transfer->upload = &(*m_uploads)[m_opened];
    if (!transfer->source.open(*transfer->upload, error))
        return false;
    ++m_opened;
    m_active.push_back(transfer);
    QByteArray fields;
    appendText(fields, transfer->upload->remotePath.toUtf8());
    appendNumber(fields, OpenFlags);
    appendNumber(fields, HasPermissions);
    appendNumber(fields, OwnerOnly);
    return sendRequest(Request::Open, transfer, fields, work, error);
}

bool SftpUpload::sendRequest(Request request, const std::shared_ptr<Transfer> &transfer, const QByteArray &fields,
                             SshWork &work, QString &error)
{
    static constexpr char types[] = {OpenFile, WriteFile, CloseFile};
    QByteArray packet;
    packet.reserve(fields.size() + 9);
    appendNumber(packet, quint32(fields.size()) + 5);
    packet.append(types[int(request)]);
    appendNumber(packet, ++m_lastId);
    packet.append(fields);
    if (!m_channel.write(packet.constData(), packet.size(), work)) {
        error = m_link.failure();
        return false;
    }
    m_pending.emplace(m_lastId, Pending{request, transfer});
    return true;
}

bool SftpUpload::readPacket(QByteArray &packet, SshWork &work, QString &error)
{
    quint32 wire = 0;
    if (!m_channel.read(reinterpret_cast<char *>(&wire), sizeof(wire), work)) {
        error = m_link.failure();
        return false;
    }
    const quint32 size = qFromBigEndian(wire);
    if (size == 0 || size > MaximumPacket) {
        error = QStringLiteral("the device's SFTP answer is unreadable");
        return false;
    }
    packet.resize(int(size));
    if (m_channel.read(packet.data(), packet.size(), work))
        return true;
    error = m_link.failure();
    return false;
}

bool SftpUpload::takeAnswer(SshWork &work, QString &error)
{
    QByteArray packet;
    if (!readPacket(packet, work, error))
        return false;
    PacketReader reader(packet);
    const quint8 type = reader.takeByte();
    Answer answer;
    answer.id = reader.takeNumber();
    if (type == Handle) {
        answer.handle = reader.takeText();
    } else {
        answer.code = reader.takeNumber();
        // Some servers leave the text out.
        answer.text = reader.isValid() ? QString::fromUtf8(reader.takeText()) : QString();
    }
    const auto pending = m_pending.find(answer.id);
    const bool isExpected = pending != m_pending.end() &&
                            ((type == Handle && pending->second.request == Request::Open && !answer.handle.isEmpty()) ||
                             (type == Status && !(answer.code == Ok && pending->second.request == Request::Open)));
    if (!isExpected) {
        error = QStringLiteral("the device's SFTP answer is unreadable");
        return false;
    }
    const Pending finished = pending->second;
    m_pending.erase(pending);
    return finish(finished, answer, error);
}

bool SftpUpload::finish(const Pending &pending, const Answer &answer, QString &error)
{
    Transfer &transfer = *pending.transfer;
    if (answer.code != Ok) {
        error = describeStatus(answer.code, answer.text);
        error = QStringLiteral("%1 cannot be written: %2").arg(transfer.upload->remotePath, error);
        return false;
    }
    if (pending.request == Request::Open) {
        transfer.handle = answer.handle;
    } else if (pending.request == Request::Write) {
        (*m_progress)(transfer.index, transfer.source.sent());
    } else {
        transfer.upload->sha256 = transfer.source.digest();
        (*m_progress)(transfer.index, transfer.upload->size);
        m_active.erase(std::find(m_active.begin(), m_active.end(), pending.transfer));
        ++m_finished;
    }
    return true;
}

} // namespace CommonNOX::Connections
