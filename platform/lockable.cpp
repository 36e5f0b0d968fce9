#include "platform/lockable.h"

#include <QCoreApplication>
#include <QThread>

namespace Shared::Synchronization
{

Lockable::~Lockable() = default;

QApplicationMainThreadMover::~QApplicationMainThreadMover() = default;

void QApplicationMainThreadMover::moveToApplicationMainThread(QObject *object)
{
    const QCoreApplication *application = QCoreApplication::instance();
    if (application && object->thread() != application->thread())
        object->moveToThread(application->thread());
}

} // namespace Shared::Synchronization
