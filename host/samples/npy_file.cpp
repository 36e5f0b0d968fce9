#include "host/samples/npy_file.h"

#include <QFile>
#include <QRegularExpression>
#include <QtEndian>

#include <bit>

namespace NoxHost
{

namespace
{

const QByteArray Magic = QByteArrayLiteral("\x93NUMPY");
constexpr qint64 LongestHeader = 64 * 1024;

/// How one element stands in the file.
struct ElementType
{
    char kind = 0; ///< 'i', 'u' or 'f'
    int size = 0;  ///< bytes
    bool isBigEndian = false;
};

struct Layout
{
    ElementType type;
    qint64 rows = 0;
    qint64 columns = 0; ///< 0 for a single dimension, whose length is `rows`
};

template <class Unsigned>
double decode(const char *bytes, const ElementType &type)
{
    const Unsigned value = type.isBigEndian ? qFromBigEndian<Unsigned>(bytes) : qFromLittleEndian<Unsigned>(bytes);
    if (type.kind == 'u')
        return double(value);
    if (type.kind == 'i')
        return double(std::make_signed_t<Unsigned>(value));
    if constexpr (sizeof(Unsigned) == 4)
        return double(std::bit_cast<float>(value));
    else if constexpr (sizeof(Unsigned) == 8)
        return std::bit_cast<double>(value);
    return 0.0;
}

double decodeElement(const char *bytes, const ElementType &type)
{
    switch (type.size) {
    case 1:
        return decode<quint8>(bytes, type);
    case 2:
        return decode<quint16>(bytes, type);
    case 4:
        return decode<quint32>(bytes, type);
    default:
        return decode<quint64>(bytes, type);
    }
}

/// The header is a Python dictionary of three known keys.
bool readHeader(const QString &header, Layout &layout, QString &error)
{
    static const QRegularExpression typeForm(QStringLiteral("'descr'\\s*:\\s*'([<>|=])([iuf])([1248])'"));
    static const QRegularExpression orderForm(QStringLiteral("'fortran_order'\\s*:\\s*(True|False)"));
    static const QRegularExpression shapeForm(
        QStringLiteral("'shape'\\s*:\\s*\\(\\s*([0-9]{1,18})\\s*,?\\s*([0-9]{1,18})?\\s*,?\\s*\\)"));
    const auto type = typeForm.match(header);
    const auto order = orderForm.match(header);
    const auto shape = shapeForm.match(header);
    if (!type.hasMatch()) {
        error = QStringLiteral("its values are no whole or real numbers of 1 to 8 bytes");
        return false;
    }
    if (!shape.hasMatch()) {
        error = QStringLiteral("it has no shape of one or two dimensions");
        return false;
    }
    layout.type = {type.captured(2)[0].toLatin1(), type.captured(3).toInt(), type.captured(1) == QLatin1String(">")};
    layout.rows = shape.captured(1).toLongLong();
    layout.columns = shape.captured(2).toLongLong();
    if (layout.type.kind == 'f' && layout.type.size < 4)
        error = QStringLiteral("reals of %1 bytes are not read").arg(layout.type.size);
    else if (order.captured(1) == QLatin1String("True") && !shape.captured(2).isEmpty())
        error = QStringLiteral("it is stored column by column, which is not read");
    else if (!shape.captured(2).isEmpty() && layout.columns == 0)
        error = QStringLiteral("it has no columns");
    return error.isEmpty();
}

/// The place of the first element, the way to the next, and their number.
struct Walk
{
    qint64 first = 0;
    qint64 step = 1;
    qint64 count = 0;
};

bool choose(const Layout &layout, const SeriesChoice &choice, Walk &walk, QString &error)
{
    const bool isTable = layout.columns > 0;
    const qint64 rows = isTable ? layout.rows : 1;
    const qint64 columns = isTable ? layout.columns : layout.rows;
    if (choice.row && *choice.row >= rows)
        error = QStringLiteral("there is no row %1, it has %2").arg(*choice.row).arg(rows);
    else if (choice.column && *choice.column >= columns)
        error = QStringLiteral("there is no column %1, it has %2").arg(*choice.column).arg(columns);
    else if (choice.row)
        walk = {*choice.row * columns, 1, columns};
    else if (choice.column)
        walk = {*choice.column, columns, rows};
    else if (rows == 1 || columns == 1)
        walk = {0, 1, rows * columns};
    else
        error =
            QStringLiteral("it is a table of %1 rows and %2 columns, choose a row or a column").arg(rows).arg(columns);
    return error.isEmpty();
}

} // namespace

bool isNpyFile(QFile &file)
{
    return file.peek(Magic.size()) == Magic;
}

bool readNpySamples(QFile &file, const SeriesChoice &choice, std::vector<double> &samples, QString &error)
{
    error = QStringLiteral("its header is cut short");
    file.skip(Magic.size());
    const QByteArray version = file.read(2);
    if (version.size() != 2)
        return false;
    const int sizeBytes = version[0] == 1 ? 2 : 4;
    const QByteArray size = file.read(sizeBytes);
    if (size.size() != sizeBytes)
        return false;
    const qint64 length =
        sizeBytes == 2 ? qFromLittleEndian<quint16>(size.constData()) : qFromLittleEndian<quint32>(size.constData());
    if (version[0] < 1 || version[0] > 3 || length > LongestHeader) {
        error = QStringLiteral("its version is not known");
        return false;
    }
    const QByteArray header = file.read(length);
    if (header.size() != length)
        return false;
    error.clear();
    Layout layout;
    Walk walk;
    if (!readHeader(QString::fromLatin1(header), layout, error))
        return false;
    // Before anything is multiplied: no file has more elements than bytes.
    const qint64 available = (file.size() - file.pos()) / layout.type.size;
    if (layout.rows > available || (layout.columns > 0 && layout.rows > available / layout.columns)) {
        error = QStringLiteral("it is cut short");
        return false;
    }
    if (!choose(layout, choice, walk, error))
        return false;
    if (walk.count > MostSamples) {
        error = QStringLiteral("it has more than %1 samples").arg(MostSamples);
        return false;
    }
    const qint64 begin = file.pos();
    samples.resize(std::size_t(walk.count));
    const uchar *bytes = walk.count > 0 ? file.map(begin, file.size() - begin) : nullptr;
    if (walk.count > 0 && !bytes) {
        error = file.errorString();
        return false;
    }
    for (qint64 i = 0; i < walk.count; ++i)
        samples[std::size_t(i)] = decodeElement(
            reinterpret_cast<const char *>(bytes) + (walk.first + i * walk.step) * layout.type.size, layout.type);
    return true;
}

} // namespace NoxHost
