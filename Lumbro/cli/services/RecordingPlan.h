#pragma once

#include "LumbroCore/Failure.h"
#include "cli/Arguments.h"
#include "library/formats/CaptureMeta.h"
#include "library/model/CaptureFlow.h"
#include "meetings/formats/PrepEvent.h"

#include <QDateTime>
#include <QString>

#include <optional>

namespace lumbro::cli {

/// Where one side of a recording comes from.
struct SideSource {
    enum class Kind { standard, device, file, none };

    Kind kind = Kind::standard;
    /// The device's id or name, or the file's absolute path.
    QString name;
    /// Only this channel of the file.
    std::optional<int> channel;

    bool operator==(const SideSource&) const = default;

    /// Reads a device's id or name, "file:PATH", or "none".
    static SideSource parse(const QString& text);
};

/// What `record`, `import` and `demo` are to make.
struct RecordingPlan {
    CaptureKind kind = CaptureKind::meeting;
    CaptureIntent intent = CaptureIntent::meeting;
    /// Empty: the agent finds one.
    QString title;
    /// The meeting that is recorded, where that is known.
    std::optional<PrepEvent> event;
    SideSource microphone;
    SideSource system;
    /// As fast as the recogniser can, for files on both sides.
    bool fast = false;
    /// When it was recorded; invalid means now.
    QDateTime at;
    /// Empty: the user's library.
    QString libraryRoot;
    /// The language that is spoken, as a BCP 47 identifier. Empty: the system's.
    QString speechLocale;

    bool operator==(const RecordingPlan&) const = default;

    bool fromFiles() const {
        return microphone.kind == SideSource::Kind::file &&
               (system.kind == SideSource::Kind::file || system.kind == SideSource::Kind::none);
    }

    /// Fails with a sentence about wrong usage.
    static Result<RecordingPlan> forRecord(const Arguments& arguments);
    /// The same, and with the kind notFound when the files cannot be played.
    static Result<RecordingPlan> forImport(const Arguments& arguments);
};

}  // namespace lumbro::cli
