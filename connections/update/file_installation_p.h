#pragma once

#include "connections/update/file_copy_description.h"
#include "connections/update/sftp_upload_p.h"

#include <QSet>
#include <QVector>

namespace CommonNOX::Connections
{

/// Told about the file of this index: how much of it is on the device, in percent, and that it stands there.
struct InstallationEvents
{
    std::function<void(int index, int percent)> progressed;
    std::function<void(int index)> installed;
};

/// Replaces files on the device so that each is the old one or the new one at any time.
///
/// Files go in batches, to bound what an interruption costs. Those of a batch that are there already, by size and
/// SHA-256, are left alone; the others are sent under hidden names beside their targets, read back by size and SHA-256,
/// given mode and owner of what they replace, and renamed. What an interrupted run has left in these folders is
/// removed.
class FileInstallation
{
public:
    /// `sftp` is the link's session, opened when it is needed and kept.
    FileInstallation(SshLink &link, std::unique_ptr<SftpUpload> &sftp, InstallationEvents events);

    /// False with a sentence in `error`; then what was not told as installed may be old or new.
    bool install(const QVector<FileCopyDescription> &files, QString &error);

private:
    struct Item
    {
        int index = 0;
        QString source;
        QString destination;
        qint64 size = 0;
        QByteArray mode; // octal; of what is replaced, else by the source's executable bit
        bool exists = false;
        bool isReadable = false;
        QByteArray owner, group; // numbers; of what is replaced
        qint64 oldSize = -1;
        bool isSame = false;
    };
    using Batch = std::vector<Item>;

    bool noteDestination(const QString &destination, QString &error);
    bool readSources(const QVector<FileCopyDescription> &files, QString &error);
    Batch takeBatch(std::size_t &next) const;
    bool installBatch(Batch &batch, QString &error);

    bool survey(Batch &batch, QString &error);
    bool surveyOnce(std::vector<Item *> &items, QString &error);
    bool findSame(Batch &batch, QString &error);
    QByteArray makeCleaning(const std::vector<Item *> &items);

    std::vector<FileUpload> makeUploads(const Batch &batch) const;
    bool send(const Batch &batch, std::vector<FileUpload> &uploads, QString &error);
    void explainFullDisk(const FileUpload &upload, QString &error);
    bool verify(const std::vector<FileUpload> &uploads, std::vector<QByteArray> &owners, QString &error);
    bool commit(const Batch &batch, const std::vector<FileUpload> &uploads, const std::vector<QByteArray> &owners,
                QString &error);
    void removeTemporaries(const std::vector<FileUpload> &uploads);

    SshLink &m_link;
    std::unique_ptr<SftpUpload> &m_sftp;
    const InstallationEvents m_events;
    const QString m_run; // marks the temporary names of this run
    std::vector<Item> m_items;
    QSet<QString> m_destinations; // cleaned
    QSet<QString> m_cleanedFolders;
};

} // namespace CommonNOX::Connections
