#include "platform/data_repository.h"

#include <map>
#include <mutex>

namespace FrameworkCore::AppData::Interfaces
{
DataElementParserInterface::~DataElementParserInterface() = default;
DataRepositoryInterface::~DataRepositoryInterface() = default;
} // namespace FrameworkCore::AppData::Interfaces

namespace Utilities
{

using namespace FrameworkCore::AppData::Interfaces;

namespace
{

/// The platform's own repository. Whatever a host installs, it remembers the registrations, so that the next
/// repository can receive them.
class LocalRepository final : public DataRepositoryInterface
{
public:
    bool registerParser(const QString &key, const ParserCreator &creator) override
    {
        const std::lock_guard guard(m_mutex);
        return m_creators.emplace(key, creator).second;
    }

    std::shared_ptr<DataElementParserInterface> createParser(const QString &key) const override
    {
        ParserCreator creator;
        {
            const std::lock_guard guard(m_mutex);
            const auto found = m_creators.find(key);
            if (found == m_creators.end())
                return nullptr;
            creator = found->second;
        }
        return creator();
    }

    QStringList getRegisteredKeys() const override
    {
        const std::lock_guard guard(m_mutex);
        QStringList keys;
        for (const auto &creator : m_creators)
            keys.append(creator.first);
        return keys;
    }

    std::map<QString, ParserCreator> getCreators() const
    {
        const std::lock_guard guard(m_mutex);
        return m_creators;
    }

private:
    mutable std::mutex m_mutex;
    std::map<QString, ParserCreator> m_creators;
};

/// Forwards to the installed repository and keeps a copy of every registration.
class AppRepository final : public DataRepositoryInterface
{
public:
    bool registerParser(const QString &key, const ParserCreator &creator) override
    {
        const std::lock_guard guard(m_mutex);
        const bool isNew = m_local.registerParser(key, creator);
        return m_installed ? m_installed->registerParser(key, creator) : isNew;
    }

    std::shared_ptr<DataElementParserInterface> createParser(const QString &key) const override
    {
        const auto installed = getInstalled();
        return installed ? installed->createParser(key) : m_local.createParser(key);
    }

    QStringList getRegisteredKeys() const override
    {
        const auto installed = getInstalled();
        return installed ? installed->getRegisteredKeys() : m_local.getRegisteredKeys();
    }

    void install(const std::shared_ptr<DataRepositoryInterface> &repository)
    {
        const std::lock_guard guard(m_mutex);
        if (repository) {
            for (const auto &[key, creator] : m_local.getCreators())
                repository->registerParser(key, creator);
        }
        m_installed = repository;
    }

private:
    std::shared_ptr<DataRepositoryInterface> getInstalled() const
    {
        const std::lock_guard guard(m_mutex);
        return m_installed;
    }

    mutable std::mutex m_mutex;
    LocalRepository m_local;
    std::shared_ptr<DataRepositoryInterface> m_installed;
};

const std::shared_ptr<AppRepository> &appRepository()
{
    static const auto instance = std::make_shared<AppRepository>();
    return instance;
}

} // namespace

std::shared_ptr<DataRepositoryInterface> GetAppDataRepositoryInterface()
{
    return appRepository();
}

void InstallAppDataRepository(const std::shared_ptr<DataRepositoryInterface> &repository)
{
    if (repository != appRepository())
        appRepository()->install(repository);
}

} // namespace Utilities
