#pragma once

#include "framework_export.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <functional>
#include <memory>

namespace FrameworkCore::AppData::Interfaces
{

/// Turns one kind of stored element into bytes and back. Parsers hold no state; any thread.
class FRAMEWORK_EXPORT DataElementParserInterface
{
public:
    virtual ~DataElementParserInterface();
    /// Empty when the variant is missing or holds nothing that the parser takes.
    virtual QByteArray convertToRawData(const std::shared_ptr<const QVariant> &element) const = 0;
    /// Never empty; what cannot be read stays at its defaults.
    virtual std::shared_ptr<QVariant> parse(const QByteArray &rawData) const = 0;
};

/// Where the application keeps its data elements. The library needs parsers by key of it.
class FRAMEWORK_EXPORT DataRepositoryInterface
{
public:
    using ParserCreator = std::function<std::shared_ptr<DataElementParserInterface>()>;

    virtual ~DataRepositoryInterface();
    /// False when the key is taken; the creator that is there stays. Any thread.
    virtual bool registerParser(const QString &key, const ParserCreator &creator) = 0;
    /// A new parser, or nothing for an unknown key.
    virtual std::shared_ptr<DataElementParserInterface> createParser(const QString &key) const = 0;
    virtual QStringList getRegisteredKeys() const = 0;
};

} // namespace FrameworkCore::AppData::Interfaces

namespace Utilities
{

/// The application's repository: one of the platform's own unless the host has installed another.
FRAMEWORK_EXPORT std::shared_ptr<FrameworkCore::AppData::Interfaces::DataRepositoryInterface>
GetAppDataRepositoryInterface();

/// Installs a host's repository and hands it all registrations made so far, so that it may come after the
/// libraries have been loaded. An empty pointer brings the platform's own back.
FRAMEWORK_EXPORT void InstallAppDataRepository(
    const std::shared_ptr<FrameworkCore::AppData::Interfaces::DataRepositoryInterface> &repository);

} // namespace Utilities
