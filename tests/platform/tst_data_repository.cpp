#include "platform/data_repository.h"

#include <gtest/gtest.h>

#include <map>

using namespace FrameworkCore::AppData::Interfaces;
using namespace Utilities;

namespace
{

struct NamedParser final : DataElementParserInterface
{
    explicit NamedParser(const char *parserName) : name(parserName) {}
    QByteArray convertToRawData(const std::shared_ptr<const QVariant> &) const override { return name; }
    std::shared_ptr<QVariant> parse(const QByteArray &) const override { return std::make_shared<QVariant>(); }
    const QByteArray name;
};

DataRepositoryInterface::ParserCreator named(const char *parserName)
{
    return [parserName] { return std::make_shared<NamedParser>(parserName); };
}

struct HostRepository final : DataRepositoryInterface
{
    bool registerParser(const QString &key, const ParserCreator &creator) override
    {
        return creators.emplace(key, creator).second;
    }
    std::shared_ptr<DataElementParserInterface> createParser(const QString &key) const override
    {
        const auto found = creators.find(key);
        return found == creators.end() ? nullptr : found->second();
    }
    QStringList getRegisteredKeys() const override { return {}; }
    std::map<QString, ParserCreator> creators;
};

TEST(DataRepository, TheFirstRegistrationOfAKeyWins)
{
    const auto repository = GetAppDataRepositoryInterface();
    const QString key = QStringLiteral("first_wins_v1");
    EXPECT_FALSE(repository->createParser(key));
    EXPECT_TRUE(repository->registerParser(key, named("first")));
    EXPECT_FALSE(repository->registerParser(key, named("second")));
    EXPECT_EQ(repository->createParser(key)->convertToRawData({}), "first");
}

TEST(DataRepository, ARepositoryInstalledLaterReceivesAllRegistrations)
{
    const auto repository = GetAppDataRepositoryInterface();
    repository->registerParser(QStringLiteral("before_v1"), named("before"));
    const auto host = std::make_shared<HostRepository>();
    host->registerParser(QStringLiteral("own_v1"), named("own"));
    InstallAppDataRepository(host);
    EXPECT_EQ(host->createParser(QStringLiteral("before_v1"))->convertToRawData({}), "before");
    EXPECT_TRUE(repository->registerParser(QStringLiteral("after_v1"), named("after")));
    EXPECT_FALSE(repository->registerParser(QStringLiteral("own_v1"), named("other"))) << "the host was first";
    EXPECT_EQ(repository->createParser(QStringLiteral("own_v1"))->convertToRawData({}), "own");
    EXPECT_EQ(host->creators.count(QStringLiteral("after_v1")), 1u);

    const auto next = std::make_shared<HostRepository>();
    InstallAppDataRepository(next);
    EXPECT_EQ(next->createParser(QStringLiteral("after_v1"))->convertToRawData({}), "after");
    InstallAppDataRepository(nullptr);
    EXPECT_TRUE(repository->createParser(QStringLiteral("after_v1")));
    InstallAppDataRepository(repository);
    EXPECT_TRUE(GetAppDataRepositoryInterface()->createParser(QStringLiteral("before_v1"))) << "not its own host";
    InstallAppDataRepository(nullptr);
}

} // namespace
