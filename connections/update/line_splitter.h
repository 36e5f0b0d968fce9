#pragma once

#include <QByteArray>
#include <QString>

#include <functional>

namespace CommonNOX::Connections
{

/// Cuts what comes in pieces into lines. A carriage return ends a line too, as programs show progress that way; empty
/// lines are left out. Bytes beyond `MaximumLine` of a line are dropped.
class LineSplitter
{
public:
    static constexpr int MaximumLine = 4096;

    explicit LineSplitter(std::function<void(const QString &)> take) : m_take(std::move(take)) {}

    void add(const char *bytes, int count)
    {
        for (int i = 0; i < count; ++i) {
            if (bytes[i] == '\n' || bytes[i] == '\r')
                finish();
            else if (m_line.size() < MaximumLine)
                m_line.append(bytes[i]);
        }
    }
    /// What has no line end is a line as well.
    void finish()
    {
        if (!m_line.isEmpty())
            m_take(QString::fromUtf8(m_line));
        m_line.clear();
    }

private:
    std::function<void(const QString &)> m_take;
    QByteArray m_line;
};

} // namespace CommonNOX::Connections
