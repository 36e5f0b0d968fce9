#pragma once

#include "nox_export.h"

#include <QString>
#include <QVariant>

#include <optional>

namespace CommonNOX::PD::Recording
{

/// When a recording ends by itself.
struct RecordingLimit
{
    enum class Type { None, FileSize, Duration };
    Type type = Type::None;
    qint64 value = 0;       ///< bytes, or seconds of recorded time
    bool continues = false; ///< it goes on in a new file
};

/// A command to start or stop a recording, in JSON: "start" (boolean), "filename", "comment" (texts), "details" (an
/// object with "type" "filesize" or "duration", "value" an integer, and "continue", a boolean).
struct RecordingCommand
{
    bool isStart = false;
    QString fileName; ///< the text for %USER_DEFINED%, or a path; see MakeRecordingFileName()
    QString comment;
    RecordingLimit limit;
};

/// Nothing for what is no command: text that is not a JSON object, an empty object, and one without "start". The value
/// may be a text, bytes, a JSON object or a map.
NOX_EXPORT std::optional<RecordingCommand> ParseRecordingCommand(const QVariant &value);
/// The compact JSON form.
NOX_EXPORT QString FormatRecordingCommand(const RecordingCommand &command);

/// What a file name is made of.
struct FileNameParts
{
    QString nameTemplate; ///< empty for the stock template
    QString type;
    QString serial;
    QString userDefined;
};

/// The name of a recording's file: the placeholders "%TYPE%", "%SERIAL%", "%DATE%" (yyyyMMdd), "%TIME%" (HHmmss) and
/// "%USER_DEFINED%" of the template replaced, with the suffix ".pdr". What is put in keeps letters, digits, spaces and
/// "-_.,+()[]#"; the rest becomes "_". Empty when nothing but spaces and dots is left.
NOX_EXPORT QString MakeRecordingFileName(const FileNameParts &parts, const QDateTime &time);
/// The path of the recording that continues one in a new file: "name_2.pdr", "name_3.pdr", ...
NOX_EXPORT QString MakeContinuationPath(const QString &path, int number);

} // namespace CommonNOX::PD::Recording
