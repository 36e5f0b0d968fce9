#include "platform/storage/sqlite.h"

#include <QUrl>

#include <sqlite3.h>

#include <cstring>
#include <utility>

namespace FrameworkCore::AppData::Storage
{

namespace
{

/// Of one entry, and so of one blob; what a file says beyond it is refused.
constexpr int LongestValue = 256 * 1024 * 1024;
constexpr int LongestStatement = 10'000;

int flagsOf(SqliteDatabase::Mode mode)
{
    switch (mode) {
    case SqliteDatabase::Mode::Create:
        return SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_EXCLUSIVE;
    case SqliteDatabase::Mode::ReadWrite:
        return SQLITE_OPEN_READWRITE;
    default:
        return SQLITE_OPEN_READONLY;
    }
}

} // namespace

SqliteDatabase::~SqliteDatabase()
{
    close();
}

bool SqliteDatabase::open(const QString &path, Mode mode)
{
    close();
    QUrl url = QUrl::fromLocalFile(path);
    if (mode == Mode::ReadAlone || mode == Mode::Rescue)
        url.setQuery(QStringLiteral("immutable=1"));
    const QByteArray name = url.toEncoded();
    m_openError =
        sqlite3_open_v2(name.constData(), &m_handle, flagsOf(mode) | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX, nullptr);
    if (m_openError != SQLITE_OK) {
        sqlite3_close(std::exchange(m_handle, nullptr));
        return false;
    }
    sqlite3_extended_result_codes(m_handle, 1);
    defend(mode);
    return true;
}

void SqliteDatabase::defend(Mode mode) const
{
    sqlite3_db_config(m_handle, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_db_config(m_handle, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
    sqlite3_db_config(m_handle, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
    sqlite3_limit(m_handle, SQLITE_LIMIT_LENGTH, LongestValue);
    sqlite3_limit(m_handle, SQLITE_LIMIT_SQL_LENGTH, LongestStatement);
    sqlite3_limit(m_handle, SQLITE_LIMIT_ATTACHED, 0);
    // Switched on, the defence forbids the very thing that makes a cut file readable.
    if (mode == Mode::Rescue) {
        sqlite3_db_config(m_handle, SQLITE_DBCONFIG_WRITABLE_SCHEMA, 1, nullptr);
        return;
    }
    sqlite3_db_config(m_handle, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    if (mode != Mode::Create && mode != Mode::ReadWrite)
        sqlite3_exec(m_handle, "PRAGMA cell_size_check=ON; PRAGMA mmap_size=0", nullptr, nullptr, nullptr);
}

bool SqliteDatabase::close()
{
    return !m_handle || sqlite3_close(std::exchange(m_handle, nullptr)) == SQLITE_OK;
}

bool SqliteDatabase::execute(const QByteArray &statements)
{
    return m_handle && sqlite3_exec(m_handle, statements.constData(), nullptr, nullptr, nullptr) == SQLITE_OK;
}

int SqliteDatabase::getErrorCode() const
{
    return m_handle ? sqlite3_errcode(m_handle) & 0xFF : m_openError & 0xFF;
}

QString SqliteDatabase::getErrorText() const
{
    const QString text = QString::fromUtf8(m_handle ? sqlite3_errmsg(m_handle) : sqlite3_errstr(m_openError));
    // What the system said tells a full disk from a broken one.
    int reason = 0;
    if (m_handle && getErrorCode() == SQLITE_IOERR)
        sqlite3_file_control(m_handle, nullptr, SQLITE_FCNTL_LAST_ERRNO, &reason);
    return reason == 0 ? text : QStringLiteral("%1 (%2)").arg(text, QString::fromLocal8Bit(std::strerror(reason)));
}

SqliteStatement::SqliteStatement(const SqliteDatabase &database, const char *text)
{
    if (database.isOpen())
        sqlite3_prepare_v3(database.getHandle(), text, -1, SQLITE_PREPARE_PERSISTENT, &m_statement, nullptr);
}

SqliteStatement::SqliteStatement(SqliteStatement &&other) noexcept
    : m_statement(std::exchange(other.m_statement, nullptr))
{}

SqliteStatement &SqliteStatement::operator=(SqliteStatement &&other) noexcept
{
    std::swap(m_statement, other.m_statement);
    return *this;
}

SqliteStatement::~SqliteStatement()
{
    sqlite3_finalize(m_statement);
}

void SqliteStatement::bind(int place, qint64 value) const
{
    sqlite3_bind_int64(m_statement, place, value);
}

void SqliteStatement::bindText(int place, const QString &value) const
{
    const QByteArray text = value.toUtf8();
    sqlite3_bind_text(m_statement, place, text.constData(), text.size(), SQLITE_TRANSIENT);
}

void SqliteStatement::bindBytes(int place, const QByteArray &value) const
{
    sqlite3_bind_blob(m_statement, place, value.constData(), value.size(), SQLITE_STATIC);
}

void SqliteStatement::bindNull(int place) const
{
    sqlite3_bind_null(m_statement, place);
}

SqliteStatement::Step SqliteStatement::step() const
{
    switch (sqlite3_step(m_statement) & 0xFF) {
    case SQLITE_ROW:
        return Step::Row;
    case SQLITE_DONE:
        return Step::Done;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return Step::Busy;
    default:
        return Step::Error;
    }
}

void SqliteStatement::reset() const
{
    sqlite3_reset(m_statement);
    sqlite3_clear_bindings(m_statement);
}

qint64 SqliteStatement::getInteger(int column) const
{
    return sqlite3_column_int64(m_statement, column);
}

QString SqliteStatement::getText(int column) const
{
    return QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(m_statement, column)),
                             sqlite3_column_bytes(m_statement, column));
}

QByteArray SqliteStatement::viewBytes(int column) const
{
    const char *data = static_cast<const char *>(sqlite3_column_blob(m_statement, column));
    return data ? QByteArray::fromRawData(data, sqlite3_column_bytes(m_statement, column)) : QByteArray();
}

bool SqliteStatement::isNull(int column) const
{
    return sqlite3_column_type(m_statement, column) == SQLITE_NULL;
}

bool SqliteStatement::isBytes(int column) const
{
    return sqlite3_column_type(m_statement, column) == SQLITE_BLOB;
}

} // namespace FrameworkCore::AppData::Storage
