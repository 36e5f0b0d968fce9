#include "platform/factory.h"

#include <gtest/gtest.h>

#include <QString>

namespace
{

using IntFactory = Shared::Factory<QString, int, int>;

TEST(Factory, FirstRegistrationOfAKeyWins)
{
    IntFactory factory;
    const QString key = QStringLiteral("key");
    EXPECT_TRUE(factory.registerProduct(key, [](int x) { return x + 1; }));
    EXPECT_FALSE(factory.registerProduct(key, [](int x) { return x + 2; }));
    EXPECT_EQ(factory.createProduct(key, 40), 41);
    EXPECT_EQ(factory.createProduct(QStringLiteral("other"), 40), 0);
    EXPECT_EQ(factory.getRegisteredProductIdentifier(), QList<QString>{key});
}

TEST(Factory, UnregisteringTellsWhetherThereWasOne)
{
    IntFactory factory;
    EXPECT_FALSE(factory.unregisterProduct(QStringLiteral("key")));
    factory.registerProduct(QStringLiteral("key"), [](int x) { return x; });
    EXPECT_TRUE(factory.unregisterProduct(QStringLiteral("key")));
    EXPECT_FALSE(factory.unregisterProduct(QStringLiteral("key")));
    EXPECT_FALSE(factory.isProductRegistered(QStringLiteral("key")));
}

} // namespace
