#pragma once

#include "nox_export.h"
#include "platform/value_parser.h"

#include <QObject>

#include <functional>

namespace CommonNOX::Connections
{

/// A leaf of the configuration tree that turns a write into a request. Reading it yields nothing, with success.
class NOX_EXPORT RequestParser : public QObject, public Shared::ValueParserInterface
{
    Q_OBJECT
public:
    ~RequestParser() override;
    bool read(const QVariant &in, QVariant &out) const override;
    QString getId() const override;
};

/// Asks for a connection: takes a URL, or the text of one, that has a scheme.
class NOX_EXPORT ConnectionRequestParser : public RequestParser
{
    Q_OBJECT
public:
    /// Gives the scheme of connect data, or an empty text for data that are none.
    using Validator = std::function<QString(const QVariant &)>;

    explicit ConnectionRequestParser(const Validator &validator);
    Validator validator() const { return m_validator; }

    bool write(QVariant &out, const QVariant &in) const override;

    /// The scheme of a URL or of a text that a user typed as one. Logs, and gives an empty text, when there is none.
    static QString CheckConnectDataForScheme(const QVariant &connectData);

signals:
    /// In the thread that writes.
    void connectionRequest(const QVariant &connectData) const;

private:
    const Validator m_validator;
};

/// Asks for the end of a connection: takes its id.
class NOX_EXPORT DisconnectRequestParser : public RequestParser
{
    Q_OBJECT
public:
    bool write(QVariant &out, const QVariant &in) const override;

signals:
    /// In the thread that writes.
    void disconnectRequest(const QString &connectionId) const;
};

/// Asks for a known connection to be opened again: takes its id.
class NOX_EXPORT ReconnectRequestParser : public RequestParser
{
    Q_OBJECT
public:
    bool write(QVariant &out, const QVariant &in) const override;

signals:
    /// In the thread that writes.
    void reconnectRequest(const QString &connectionId) const;
};

} // namespace CommonNOX::Connections
