#pragma once

#include "recording/replay/replay_walk.h"

#include <memory>
#include <string>

namespace NoxHost
{

/// What a recording holds, as rows of CSV; docs/replay-file.md tells the columns. One thread.
class RecordingTable
{
public:
    enum class Kind {
        Pulses,
        Scopes, ///< a row a sample
        Actions ///< settings and marks
    };
    /// The loader has built its index.
    static std::unique_ptr<RecordingTable> Make(Kind kind,
                                                const std::shared_ptr<CommonNOX::Importer::PdReplayFileLoader> &loader,
                                                const CommonNOX::Importer::ReplaySelection &selection);
    virtual ~RecordingTable();

    /// The header line, with its end.
    virtual std::string getHeader() const = 0;
    /// Appends the next rows; false at the end.
    virtual bool next(std::string &rows) = 0;
    /// From 0 to 1.
    virtual double getDone() const = 0;
    /// A clause about what could not be read, at the end; empty when there was nothing.
    virtual QString getLosses() const = 0;
};

} // namespace NoxHost
