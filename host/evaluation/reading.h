#pragma once

#include "entries/data_entry.h"

#include <QString>

namespace NoxHost
{

/// One result of one processor.
struct Reading
{
    quint64 period = 0; ///< for a device's processor the count of its scopes
    int channel = 0;    ///< -1 for a device's processor
    QString processor;
    CommonNOX::DataEntryConstPtr record;
};

} // namespace NoxHost
