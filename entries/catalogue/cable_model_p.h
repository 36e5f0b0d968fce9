#pragma once

#include "entries/data_entry.h"

#include <QAbstractItemModel>
#include <QStringList>

#include <array>
#include <vector>

namespace CommonNOX::Entries::Cable
{

class CableV1;

/// The cores of a cable and, one level below, their joints; a snapshot of the texts at construction.
class CableModel : public QAbstractItemModel
{
    Q_OBJECT

public:
    enum Column { Name, Distance, Manufactured, Kind, Remark, ColumnCount };

    explicit CableModel(const CableV1 &cable, QObject *parent = nullptr);

    QModelIndex index(int row, int column, const QModelIndex &parent = {}) const override;
    QModelIndex parent(const QModelIndex &child) const override;
    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

private:
    using Row = std::array<QString, ColumnCount>;
    struct Core
    {
        Row texts;
        std::vector<Row> joints;
    };

    const Row *rowOf(const QModelIndex &index) const;

    std::vector<Core> m_cores;
};

} // namespace CommonNOX::Entries::Cable
