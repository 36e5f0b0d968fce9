#include "entries/catalogue/cable_model_p.h"

#include "entries/catalogue/cable.h"
#include "entries/property_keys.h"

#include <QCoreApplication>

namespace CommonNOX::Entries::Cable
{

// An index of a core carries 0, an index of a joint the row of its core plus 1.
static constexpr quintptr coreId = 0;

static QString translated(const char *text)
{
    return QCoreApplication::translate("CommonNOX::Entries", text);
}

static QString jointName(const DataEntry &joint)
{
    return translated("Joint %1").arg(joint.get(Keys::Index).toInt());
}

CableModel::CableModel(const CableV1 &cable, QObject *parent) : QAbstractItemModel(parent)
{
    for (const QVariant &heldCore : cable.get(Keys::Cores).toList()) {
        const auto core = DataEntryFromVariant(heldCore);
        if (!core)
            continue;
        Core item;
        item.texts[Name] = core->get(Keys::Name).toString();
        for (const QVariant &heldJoint : core->get(Keys::Joints).toList()) {
            const auto joint = DataEntryFromVariant(heldJoint);
            if (!joint)
                continue;
            item.joints.push_back({jointName(*joint), CableJointV1::FormatProperty(joint, Keys::Offset),
                                   CableJointV1::FormatProperty(joint, Keys::DateOfManufacture),
                                   CableJointV1::FormatProperty(joint, Keys::Material),
                                   CableJointV1::FormatProperty(joint, Keys::Comment)});
        }
        m_cores.push_back(std::move(item));
    }
}

QModelIndex CableModel::index(int row, int column, const QModelIndex &parent) const
{
    if (!hasIndex(row, column, parent))
        return {};
    return createIndex(row, column, parent.isValid() ? static_cast<quintptr>(parent.row()) + 1 : coreId);
}

QModelIndex CableModel::parent(const QModelIndex &child) const
{
    if (!child.isValid() || child.internalId() == coreId)
        return {};
    return createIndex(static_cast<int>(child.internalId() - 1), 0, coreId);
}

int CableModel::rowCount(const QModelIndex &parent) const
{
    if (!parent.isValid())
        return static_cast<int>(m_cores.size());
    if (parent.internalId() != coreId || parent.column() != 0)
        return 0;
    return static_cast<int>(m_cores[static_cast<size_t>(parent.row())].joints.size());
}

int CableModel::columnCount(const QModelIndex &) const
{
    return ColumnCount;
}

const CableModel::Row *CableModel::rowOf(const QModelIndex &index) const
{
    const auto row = static_cast<size_t>(index.row());
    return index.internalId() == coreId ? &m_cores[row].texts : &m_cores[index.internalId() - 1].joints[row];
}

QVariant CableModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid) || role != Qt::DisplayRole)
        return {};
    return rowOf(index)->at(static_cast<size_t>(index.column()));
}

QVariant CableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    static constexpr std::array<const char *, ColumnCount> titles = {
        QT_TRANSLATE_NOOP("CommonNOX::Entries", "Core or joint"),
        QT_TRANSLATE_NOOP("CommonNOX::Entries", "Distance from near end"),
        QT_TRANSLATE_NOOP("CommonNOX::Entries", "Date of manufacture"),
        QT_TRANSLATE_NOOP("CommonNOX::Entries", "Joint type"),
        QT_TRANSLATE_NOOP("CommonNOX::Entries", "Comment"),
    };
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0 || section >= ColumnCount)
        return QAbstractItemModel::headerData(section, orientation, role);
    return translated(titles[static_cast<size_t>(section)]);
}

} // namespace CommonNOX::Entries::Cable
