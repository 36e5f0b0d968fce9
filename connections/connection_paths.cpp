#include "connections/connection_paths.h"

#include "platform/configuration_tree.h"

namespace CommonNOX::Connections::Paths
{

using Utilities::ConfigurationTree;

namespace
{

QString recordLeaf(const ConfigurationTree &tree, const QString &connectionId, const QString &key)
{
    return tree.joinPath({QStringLiteral("nox"), QStringLiteral("connections"), connectionId, key});
}

} // namespace

QString ConnectionGroup(const ConfigurationTree &tree, const QString &connectionId)
{
    return recordLeaf(tree, connectionId, {});
}

QString ConnectionLeaf(const ConfigurationTree &tree, const QString &connectionId)
{
    return recordLeaf(tree, connectionId, QStringLiteral("connection"));
}

QString ClassLeaf(const ConfigurationTree &tree, const QString &connectionId)
{
    return recordLeaf(tree, connectionId, QStringLiteral("class"));
}

QString SeriesLeaf(const ConfigurationTree &tree, const QString &connectionId)
{
    return recordLeaf(tree, connectionId, QStringLiteral("series"));
}

QString UrlLeaf(const ConfigurationTree &tree, const QString &connectionId)
{
    return recordLeaf(tree, connectionId, QStringLiteral("url"));
}

QString StatusLeaf(const ConfigurationTree &tree, const QString &connectionId)
{
    return recordLeaf(tree, connectionId, Status);
}

QString ProtocolGroup(const ConfigurationTree &tree, const QString &connectionId)
{
    return recordLeaf(tree, connectionId, Protocol);
}

QString ManagerLeaf(const ConfigurationTree &tree, const QString &deviceClass, const QString &deviceSeries,
                    const QString &key)
{
    return tree.joinPath({QStringLiteral("classes"), deviceClass, deviceSeries, key});
}

} // namespace CommonNOX::Connections::Paths
