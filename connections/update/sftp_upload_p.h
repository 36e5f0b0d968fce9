#pragma once

#include "connections/update/file_upload_p.h"
#include "connections/update/ssh_link_p.h"

#include <map>
#include <memory>

namespace CommonNOX::Connections
{

/// Sends files by SFTP (version 3, draft-ietf-secsh-filexfer-02), many requests ahead of their answers.
///
/// A session for as many uploads as wanted, until one fails.
class SftpUpload
{
public:
    /// Empty, with a clause in `error`, when the session failed; empty without one when the device has no SFTP.
    static std::unique_ptr<SftpUpload> Open(SshLink &link, QString &error);

    /// Sends all of them; false with a sentence in `error` at the first that fails, after which others may be partly
    /// there. New files are readable by their owner alone.
    bool send(std::vector<FileUpload> &uploads, const UploadProgress &progress, QString &error);

private:
    enum class Request { Open, Write, Close };
    struct Transfer
    {
        FileUpload *upload = nullptr;
        int index = 0;
        UploadSource source;
        QByteArray handle; ///< empty until the answer to Open
        bool isClosing = false;
    };
    struct Pending
    {
        Request request;
        std::shared_ptr<Transfer> transfer;
    };
    struct Answer
    {
        quint32 id = 0;
        quint32 code = 0; ///< of a status
        QString text;
        QByteArray handle; ///< of an opened file
    };

    explicit SftpUpload(SshLink &link) : m_link(link), m_channel(link) {}

    bool greet(SshWork &work, QString &error);
    bool sendNext(SshWork &work, QString &error);
    bool openNext(SshWork &work, QString &error);
    bool sendRequest(Request request, const std::shared_ptr<Transfer> &transfer, const QByteArray &fields,
                     SshWork &work, QString &error);
    bool takeAnswer(SshWork &work, QString &error);
    bool readPacket(QByteArray &packet, SshWork &work, QString &error);
    bool finish(const Pending &pending, const Answer &answer, QString &error);

    SshLink &m_link;
    SshChannel m_channel;
    quint32 m_lastId = 0;
    std::map<quint32, Pending> m_pending;
    // Of the running send().
    std::vector<FileUpload> *m_uploads = nullptr;
    const UploadProgress *m_progress = nullptr;
    std::vector<std::shared_ptr<Transfer>> m_active; // in order of index
    std::size_t m_opened = 0;
    std::size_t m_finished = 0;
};

} // namespace CommonNOX::Connections
