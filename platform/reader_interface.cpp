#include "platform/reader_interface.h"

#include "platform/configuration_tree.h"

namespace Shared::GuiContexts
{

namespace
{

class ContextReader final : public ReaderInterface
{
public:
    ContextReader(QString rootPath, std::shared_ptr<Utilities::ConfigurationTree> tree)
        : m_rootPath(std::move(rootPath)), m_tree(std::move(tree))
    {}

    std::shared_ptr<Utilities::ConfigurationTree> getTree() const override { return m_tree; }
    QString getRootPath() const override { return m_rootPath; }

private:
    const QString m_rootPath;
    const std::shared_ptr<Utilities::ConfigurationTree> m_tree;
};

} // namespace

ReaderInterface::~ReaderInterface() = default;

std::shared_ptr<const ReaderInterface> MakeReader(const QString &rootPath,
                                                  const std::shared_ptr<Utilities::ConfigurationTree> &tree)
{
    return std::make_shared<ContextReader>(rootPath, tree ? tree : Utilities::GetApplicationConfigurationTree());
}

} // namespace Shared::GuiContexts
