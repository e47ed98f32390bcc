#pragma once

#include "LumbroCore/Failure.h"
#include "library/formats/CaptureMeta.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <optional>

namespace lumbro {

/// A model's reply of which something could not be written into the memory. It is kept in the capture's
/// folder, so that the next pass takes it in without asking again.
struct KeptReply {
    QString text;
    /// For a log of chats: the time up to which it was read for the reply.
    std::optional<QDateTime> through;

    bool operator==(const KeptReply&) const = default;

    /// The reply in the bytes of a file; nothing when they hold none. Any thread.
    static std::optional<KeptReply> decode(const QByteArray& bytes);
    /// The reverse.
    QByteArray encode() const;
    /// Nothing when there is none, or none that can be read.
    static std::optional<KeptReply> of(const CaptureRecord& record);
    /// Replaces one kept before. A failure is logged.
    Result<> keep(const CaptureRecord& record) const;
    /// Removes what is kept.
    static void drop(const CaptureRecord& record);
};

}  // namespace lumbro
