#include "platform/storage/storage_format.h"

#include <QRandomGenerator>
#include <QtEndian>

#include <xxhash.h>
#ifdef __x86_64__
// The widest instructions that the processor has; the sums are the same.
#include <xxh_x86dispatch.h>
#endif

#include <array>

namespace FrameworkCore::AppData::Storage
{

namespace
{

// A uuid of version 8 (RFC 9562): 48 bits of the seed, the version and 4 bits of it, 8 bits of it, the variant, 14 bits
// of the kind, 48 bits of the number.
constexpr int NumberBits = 48;
constexpr int KindBits = 14;
constexpr quint64 NumberMask = (quint64(1) << NumberBits) - 1;
constexpr quint64 KindMask = (quint64(1) << KindBits) - 1;
constexpr quint64 Version = quint64(8) << 12;
constexpr quint64 VersionMask = quint64(0xF) << 12;
constexpr quint64 Variant = quint64(2) << 62;

} // namespace

ElementUuids ElementUuids::Create()
{
    return ElementUuids(QRandomGenerator::system()->generate64());
}

QString ElementUuids::toUuid(const ElementPlace &place) const
{
    const quint64 upper = (m_seed >> 12 << 16) | Version | (m_seed & 0xFFF);
    const quint64 lower =
        Variant | (quint64(place.kind) & KindMask) << NumberBits | (quint64(place.number) & NumberMask);
    std::array<uchar, 16> bytes;
    qToBigEndian(upper, bytes.data());
    qToBigEndian(lower, bytes.data() + 8);
    return QUuid::fromRfc4122(QByteArray::fromRawData(reinterpret_cast<const char *>(bytes.data()), 16)).toString();
}

std::optional<ElementPlace> ElementUuids::toPlace(const QString &uuid) const
{
    const QByteArray bytes = QUuid::fromString(uuid).toRfc4122();
    const quint64 upper = qFromBigEndian<quint64>(bytes.constData());
    const quint64 lower = qFromBigEndian<quint64>(bytes.constData() + 8);
    const quint64 seed = upper >> 16 << 12 | (upper & 0xFFF);
    if ((upper & VersionMask) != Version || seed != m_seed || lower >> 62 != 2)
        return std::nullopt;
    return ElementPlace{int(lower >> NumberBits & KindMask), qint64(lower & NumberMask)};
}

qint64 ComputeChecksum(const StoredRow &row)
{
    std::array<uchar, 24> place;
    qToLittleEndian<quint64>(quint64(row.id), place.data());
    qToLittleEndian<quint64>(quint64(row.kind), place.data() + 8);
    qToLittleEndian<quint64>(quint64(row.number), place.data() + 16);
    const quint64 seed = XXH3_64bits(place.data(), place.size());
    return qint64(XXH3_64bits_withSeed(row.data.constData(), std::size_t(row.data.size()), seed));
}

} // namespace FrameworkCore::AppData::Storage
