#include "host/replay/replay_connection.h"

#include "recording/replay/pd_replay_file_loader.h"

#include <QFileInfo>

namespace NoxHost
{

using CommonNOX::Importer::DeviceReplayDataContainer;
using CommonNOX::Importer::PdReplayFileLoader;

static QString makeId()
{
    static std::atomic<unsigned> count = 0;
    return QStringLiteral("replay_%1").arg(++count);
}

ReplayConnection::ReplayConnection(const QUrl &url) : m_id(makeId()), m_url(url) {}

ReplayConnection::~ReplayConnection()
{
    stopLoading();
}

bool ReplayConnection::open()
{
    if (m_isOpen)
        return true;
    QString error;
    m_request = {};
    m_reason = QVariant();
    if (!readReplayUrl(m_url, m_request, error)) {
        error.chop(1); // the full stop: who tells it makes a sentence of it
        m_reason = error;
        emit connectionFailed();
        return false;
    }
    m_isOpen = true;
    m_isLoaded = false;
    m_percent = 0;
    m_loader = std::make_shared<PdReplayFileLoader>();
    m_loader->setFileInformation(QFileInfo(m_request.path));
    for (const auto progress :
         {&DeviceReplayDataContainer::fileLoadingProgress, &DeviceReplayDataContainer::indexBuildingProgress})
        connect(
            m_loader.get(), progress, this, [this](int percent) { m_percent = percent; }, Qt::DirectConnection);
    m_thread = std::thread([this] {
        m_isLoaded = m_loader->loadReplayFile() && m_loader->buildReplayFileIndex();
        QMetaObject::invokeMethod(this, "onLoaded", Qt::QueuedConnection);
    });
    return true;
}

void ReplayConnection::onLoaded()
{
    // It may have been closed, or opened anew, since.
    if (!m_thread.joinable() || !m_isOpen)
        return;
    m_thread.join();
    m_isEstablished = m_isLoaded;
    if (m_isEstablished) {
        emit connectionEstablished();
        return;
    }
    m_reason = m_loader->getError();
    m_isOpen = false;
    emit connectionFailed();
}

void ReplayConnection::stopLoading()
{
    if (!m_thread.joinable())
        return;
    m_loader->cancel();
    m_thread.join();
}

void ReplayConnection::close(const QVariant &reason)
{
    if (!m_isOpen)
        return;
    stopLoading();
    m_isEstablished = false;
    m_isOpen = false;
    m_reason = reason;
    m_loader.reset();
    emit connectionClosed();
}

std::shared_ptr<PdReplayFileLoader> ReplayConnection::getLoader() const
{
    return m_isEstablished ? m_loader : nullptr;
}

bool ReplayConnection::send(const QByteArray &)
{
    return false;
}

QByteArray ReplayConnection::receive(qint64)
{
    return {};
}

} // namespace NoxHost
