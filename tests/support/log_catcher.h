#pragma once

#include <QString>
#include <QStringList>

#include <mutex>

/// The log lines while it lives, as "CATEGORY: TEXT". Any thread may log.
class LogCatcher
{
public:
    LogCatcher() : m_previous(qInstallMessageHandler(&LogCatcher::add)) { take(); }
    LogCatcher(const LogCatcher &) = delete;
    LogCatcher &operator=(const LogCatcher &) = delete;
    ~LogCatcher() { qInstallMessageHandler(m_previous); }

    /// What was logged since it was last asked.
    static QStringList take()
    {
        const std::lock_guard guard(s_mutex);
        return std::exchange(s_lines, {});
    }

private:
    static void add(QtMsgType, const QMessageLogContext &context, const QString &text)
    {
        const std::lock_guard guard(s_mutex);
        s_lines += QLatin1String(context.category) + QLatin1String(": ") + text;
    }

    static inline std::mutex s_mutex;
    static inline QStringList s_lines;
    const QtMessageHandler m_previous;
};
