#pragma once

#include <QByteArray>
#include <QString>

#include <memory>

struct sqlite3;
struct sqlite3_stmt;

namespace FrameworkCore::AppData::Storage
{

/// A connection to one SQLite file. One thread at a time.
class SqliteDatabase
{
public:
    enum class Mode {
        Create,     ///< a new file; an existing one is refused
        ReadShared, ///< read-only beside a writer
        ReadAlone,  ///< read-only, nobody writes: no lock, no file beside it
        Rescue,     ///< as ReadAlone, and a header that promises more pages than there are is let pass
        ReadWrite,
    };

    SqliteDatabase() = default;
    SqliteDatabase(const SqliteDatabase &) = delete;
    SqliteDatabase &operator=(const SqliteDatabase &) = delete;
    ~SqliteDatabase();

    /// Read-only connections run no trigger and no view of the file, attach nothing and bound every length.
    bool open(const QString &path, Mode mode);
    /// False when the last changes could not be written.
    bool close();
    bool isOpen() const { return m_handle != nullptr; }

    bool execute(const QByteArray &statements);
    /// SQLite's code of the last failure, and its words.
    int getErrorCode() const;
    QString getErrorText() const;

    sqlite3 *getHandle() const { return m_handle; }

private:
    void defend(Mode mode) const;

    sqlite3 *m_handle = nullptr;
    int m_openError = 0;
};

/// A prepared statement. Its database outlives it.
class SqliteStatement
{
public:
    enum class Step { Row, Done, Busy, Error };

    SqliteStatement() = default;
    /// What cannot be prepared is invalid.
    SqliteStatement(const SqliteDatabase &database, const char *text);
    SqliteStatement(SqliteStatement &&other) noexcept;
    SqliteStatement &operator=(SqliteStatement &&other) noexcept;
    ~SqliteStatement();

    bool isValid() const { return m_statement != nullptr; }

    void bind(int place, qint64 value) const;
    void bindText(int place, const QString &value) const;
    /// The bytes must stay until the statement is reset.
    void bindBytes(int place, const QByteArray &value) const;
    void bindNull(int place) const;
    Step step() const;
    void reset() const;

    qint64 getInteger(int column) const;
    QString getText(int column) const;
    /// Valid until the next step or reset.
    QByteArray viewBytes(int column) const;
    bool isNull(int column) const;
    bool isBytes(int column) const;

private:
    sqlite3_stmt *m_statement = nullptr;
};

/// Resets a statement at the end of a scope, so that it holds no lock and no bytes.
class SqliteReset
{
public:
    explicit SqliteReset(const SqliteStatement &statement) : m_statement(statement) {}
    SqliteReset(const SqliteReset &) = delete;
    SqliteReset &operator=(const SqliteReset &) = delete;
    ~SqliteReset() { m_statement.reset(); }

private:
    const SqliteStatement &m_statement;
};

} // namespace FrameworkCore::AppData::Storage
