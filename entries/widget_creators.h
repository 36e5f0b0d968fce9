#pragma once

#include "entries/data_entry.h"
#include "nox_export.h"

#include <functional>

namespace CommonNOX
{

/// How the user-interface layer makes the generic widgets of entries. Empty ones make none.
struct WidgetCreators
{
    std::function<QWidget *(const ReaderConstPtr &reader, const DataEntryConstPtr &entry, QWidget *parent,
                            const DataEntry::TextGetter &title, const DataEntry::TextGetter &description,
                            const DataEntry::IconGetter &icon)>
        entryDisplay;
    std::function<QWidget *(const ReaderConstPtr &reader, const DataEntryConstPtr &entry, const QString &name,
                            const QString &title, bool readOnly, QWidget *parent)>
        propertyDisplay;
    std::function<QWidget *(const ReaderConstPtr &reader, const DataEntryConstPtr &entry, const QString &name,
                            const QString &title, const QStringList &names, QWidget *parent)>
        query;
};

/// Called by the user-interface layer on the GUI thread; the last installation counts.
NOX_EXPORT void InstallWidgetCreators(const WidgetCreators &creators);
NOX_EXPORT WidgetCreators GetWidgetCreators();

} // namespace CommonNOX
