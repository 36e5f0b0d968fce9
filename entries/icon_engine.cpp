#include "entries/icon_engine.h"

#include <QCoreApplication>
#include <QDataStream>
#include <QGuiApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPixmap>
#include <QThread>

namespace CommonNOX
{

namespace
{

class ResourceIconEngine final : public QIconEngine
{
public:
    explicit ResourceIconEngine(const QString &path) : m_path(path) {}

    QIconEngine *clone() const override { return new ResourceIconEngine(m_path); }

    // The key of theme icons: readers elsewhere take a name and no pixels for it.
    QString key() const override { return QStringLiteral("QIconLoaderEngine"); }

    bool write(QDataStream &out) const override
    {
        out << m_path;
        return true;
    }

    QString iconName() const override { return m_path; }

    void paint(QPainter *painter, const QRect &rect, QIcon::Mode mode, QIcon::State state) override
    {
        if (isGuiThread())
            QIcon(m_path).paint(painter, rect, Qt::AlignCenter, mode, state);
    }

    QPixmap pixmap(const QSize &size, QIcon::Mode mode, QIcon::State state) override
    {
        return isGuiThread() ? QIcon(m_path).pixmap(size, mode, state) : QPixmap();
    }

private:
    static bool isGuiThread()
    {
        return qobject_cast<QGuiApplication *>(QCoreApplication::instance()) &&
               QThread::currentThread() == QCoreApplication::instance()->thread();
    }

    const QString m_path;
};

} // namespace

QIcon MakeResourceIcon(const QString &path)
{
    return path.isEmpty() ? QIcon() : QIcon(new ResourceIconEngine(path));
}

} // namespace CommonNOX
