#pragma once

#include <QHash>
#include <QList>

#include <functional>
#include <utility>

namespace Shared
{

/// A table of creators by key. The first registration of a key wins.
///
/// Not locked: keys are registered while libraries load, later there are look-ups only.
template <class Key, class Product, class... Arguments>
class Factory
{
public:
    using Creator = std::function<Product(Arguments...)>;

    virtual ~Factory() = default;

    /// Stores the creator; false when the key is taken, the creator that is there stays.
    bool registerProduct(const Key &key, const Creator &creator)
    {
        if (m_creators.contains(key))
            return false;
        m_creators.insert(key, creator);
        return true;
    }

    /// True when exactly one creator was removed.
    bool unregisterProduct(const Key &key) { return m_creators.remove(key) == 1; }

    bool isProductRegistered(const Key &key) const { return m_creators.contains(key); }

    QList<Key> getRegisteredProductIdentifier() const { return m_creators.keys(); }

    /// Calls the creator; a default product (an empty pointer, say) when the key is unknown.
    Product createProduct(const Key &key, Arguments... arguments) const
    {
        const auto creator = m_creators.constFind(key);
        return creator == m_creators.constEnd() ? Product{} : (*creator)(std::forward<Arguments>(arguments)...);
    }

protected:
    QHash<Key, Creator> getRegisteredProducts() const { return m_creators; }

private:
    QHash<Key, Creator> m_creators;
};

} // namespace Shared
