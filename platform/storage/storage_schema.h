#pragma once

#include <QByteArray>
#include <QString>

/// The tables of a storage and the statements on them.
namespace FrameworkCore::AppData::Storage::Schema
{

inline const QString SeedFact = QStringLiteral("seed");
inline const QString StateFact = QStringLiteral("state");
inline const QString StateOpen = QStringLiteral("open");
inline const QString StateClosed = QStringLiteral("closed");
/// Of a closed storage: the id of its last row, which a file that is cut short has lost.
inline const QString LastRowFact = QStringLiteral("last_row");
/// Of a recovered storage: bytes and time of the file that it was recovered from, in ms since 1970-01-01 UTC.
inline const QString RecoveredSizeFact = QStringLiteral("recovered_from_size");
inline const QString RecoveredTimeFact = QStringLiteral("recovered_from_time");

inline constexpr char Layout[] = "PRAGMA page_size=16384; PRAGMA application_id=1313822789; PRAGMA user_version=1;";

// The bytes stand last in their row, so that what comes before them is read without them.
inline constexpr char FactTable[] = "CREATE TABLE fact(name TEXT PRIMARY KEY, value TEXT NOT NULL)";
inline constexpr char KindTable[] = "CREATE TABLE kind(id INTEGER PRIMARY KEY, type TEXT NOT NULL, category TEXT NOT "
                                    "NULL, classification TEXT NOT NULL, record_size INTEGER NOT NULL)";
inline constexpr char EntryTable[] = "CREATE TABLE entry(id INTEGER PRIMARY KEY, kind INTEGER NOT NULL, number INTEGER "
                                     "NOT NULL, checksum INTEGER NOT NULL, data BLOB NOT NULL)";
inline constexpr char EntryIndex[] = "CREATE INDEX entry_kind ON entry(kind, number)";
inline const QByteArray Tables =
    QByteArray("BEGIN;") + FactTable + ';' + KindTable + ';' + EntryTable + ';' + EntryIndex + ";COMMIT;";

inline constexpr char InsertFact[] = "INSERT INTO fact(name, value) VALUES(?1, ?2)";
inline constexpr char UpdateFact[] = "UPDATE fact SET value = ?2 WHERE name = ?1";
inline constexpr char InsertKind[] =
    "INSERT INTO kind(id, type, category, classification, record_size) VALUES(?1, ?2, ?3, ?4, ?5)";
inline constexpr char InsertRow[] = "INSERT INTO entry(id, kind, number, checksum, data) VALUES(?1, ?2, ?3, ?4, ?5)";
inline constexpr char UpdateRow[] = "UPDATE entry SET number = ?2, checksum = ?3, data = ?4 WHERE id = ?1";

inline constexpr char SelectSchema[] = "SELECT type, name, sql FROM sqlite_schema";
inline constexpr char SelectFacts[] = "SELECT name, value FROM fact LIMIT 1000";
inline constexpr char SelectKinds[] =
    "SELECT id, type, category, classification, record_size FROM kind ORDER BY id LIMIT 16384";
inline constexpr char SelectRow[] = "SELECT kind, number, checksum, data FROM entry NOT INDEXED WHERE id = ?1";
inline constexpr char SelectLast[] = "SELECT id FROM entry NOT INDEXED ORDER BY id DESC LIMIT 1";
inline constexpr char SelectPlaces[] = "SELECT number, id FROM entry INDEXED BY entry_kind WHERE kind = ?1 AND "
                                       "(number, id) > (?2, ?3) ORDER BY number, id LIMIT ?4";
inline constexpr char SelectPlaceAtOrBefore[] =
    "SELECT number, id FROM entry INDEXED BY entry_kind WHERE kind = ?1 AND "
    "number <= ?2 ORDER BY number DESC, id DESC LIMIT 1";
inline constexpr char CountKind[] = "SELECT count(*) FROM entry INDEXED BY entry_kind WHERE kind = ?1";

} // namespace FrameworkCore::AppData::Storage::Schema
