#include "platform/pending_value.h"

#include <QString>
#include <QThread>

#include <atomic>
#include <cstdio>

namespace
{

/// What an evaluating thread and its owner share. The total lacks the lock on purpose.
struct Shelf
{
    Shared::PendingValue<int> setting;
    std::atomic<int> ready = 0;
    int total = 0;
    QString text;
};

class Writer : public QThread
{
public:
    Writer(Shelf &shelf, bool usesQt) : m_shelf(shelf), m_usesQt(usesQt) {}
    ~Writer() override { wait(); }

protected:
    void run() override
    {
        ++m_shelf.ready;
        while (m_shelf.ready < 2)
            yieldCurrentThread();
        for (int i = 0; i < 1000; ++i) {
            int taken = 0;
            if (m_shelf.setting.take(taken))
                continue;
            if (m_usesQt)
                m_shelf.text = QString::number(i);
            else
                m_shelf.total += i;
        }
    }

private:
    Shelf &m_shelf;
    const bool m_usesQt;
};

} // namespace

/// A program with a data race, which the thread sanitizer must report although the suppressions are in force: else
/// they would hide the project's own races. "int" races on a plain value, "text" on one of Qt's value types.
int main(int argumentCount, char **arguments)
{
    const bool usesQt = argumentCount > 1 && QString::fromLatin1(arguments[1]) == QLatin1String("text");
    Shelf shelf;
    {
        Writer first(shelf, usesQt), second(shelf, usesQt);
        first.start();
        second.start();
    }
    std::puts("no race was reported");
    return 0;
}
