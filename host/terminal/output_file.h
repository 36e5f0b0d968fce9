#pragma once

#include <QString>

#include <cstdio>

namespace NoxHost
{

/// Whether two paths lead to one file, also to one that is still to be made. An empty path leads nowhere.
bool isSameFile(const QString &left, const QString &right);

/// A file that appears under its name when everything is in it, and not at all when it is given up. Of an empty name it
/// is standard output.
class OutputFile
{
public:
    explicit OutputFile(const QString &path) : m_path(path) {}
    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;
    /// Removes what was not committed.
    ~OutputFile();

    /// False, with the system's reason in `error`. An existing file is replaced at the end.
    bool open(QString &error);
    std::FILE *getStream() const { return m_stream; }
    bool commit(QString &error);

private:
    const QString m_path;
    QByteArray m_temporary;
    std::FILE *m_stream = nullptr;
};

} // namespace NoxHost
