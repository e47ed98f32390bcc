#include "cli/services/RecordingPlan.h"

#include "recording/audio/FileAudioSource.h"

#include <QFileInfo>

namespace lumbro::cli {

namespace {

Result<> readKind(const QString& kind, RecordingPlan& plan) {
    if (kind == u"note") {
        plan.intent = CaptureIntent::note;
    } else if (kind == u"thought") {
        plan.kind = CaptureKind::thought;
        plan.system.kind = SideSource::Kind::none;
    } else if (kind != u"meeting") {
        return fail(u"--kind takes meeting, note or thought, not \"%1\"."_s.arg(kind));
    }
    return {};
}

std::optional<QDateTime> readDate(const QString& text) {
    for (const QString& form : {u"yyyy-MM-ddTHH:mm:ss"_s, u"yyyy-MM-ddTHH:mm"_s, u"yyyy-MM-dd HH:mm:ss"_s,
                                u"yyyy-MM-dd HH:mm"_s, u"yyyy-MM-dd"_s}) {
        if (const QDateTime date = QDateTime::fromString(text, form); date.isValid()) {
            return date;
        }
    }
    const QDateTime date = QDateTime::fromString(text, Qt::ISODate);
    return date.isValid() ? std::optional(date.toLocalTime()) : std::nullopt;
}

// A file carries the time of its end.
QDateTime recordedAt(const QString& file, double duration) {
    return QFileInfo(file).lastModified().addMSecs(-qint64(duration * 1000));
}

SideSource fileSide(const QString& path, std::optional<int> channel = {}) {
    return {SideSource::Kind::file, QFileInfo(path).absoluteFilePath(), channel};
}

/// A file that ends within its first moment would only make a capture to throw away.
Result<AudioFileInfo> probeSound(const QString& path) {
    constexpr double leastSeconds = 0.05;
    auto info = FileAudioSource::probe(path);
    if (info && info->duration > 0 && info->duration < leastSeconds) {
        return fail(u"“%1” holds no sound."_s.arg(path));
    }
    return info;
}

Result<> readSides(const Arguments& arguments, const AudioFileInfo& info, RecordingPlan& plan) {
    const auto them = arguments.value("them");
    const bool splits = arguments.has("split");
    if (them && splits) {
        return fail(u"--them and --split exclude each other: the other side is in a file or in a channel."_s);
    }
    if (splits && info.format.channels < 2) {
        return fail(
            FailureKind::notFound,
            u"%1 has one channel only, so it can't be split; leave --split out."_s.arg(arguments.at(0)));
    }
    plan.microphone = fileSide(arguments.at(0), splits ? std::optional(0) : std::nullopt);
    plan.system.kind = SideSource::Kind::none;
    if (splits) {
        plan.system = fileSide(arguments.at(0), 1);
    } else if (them) {
        const auto other = probeSound(*them);
        if (!other) {
            return fail(FailureKind::notFound, other.error().message);
        }
        plan.system = fileSide(*them);
    }
    return {};
}

}  // namespace

SideSource SideSource::parse(const QString& text) {
    static const QString prefix = u"file:"_s;
    if (text == u"none") {
        return {Kind::none, {}, {}};
    }
    if (text.startsWith(prefix)) {
        return fileSide(text.sliced(prefix.size()));
    }
    return text.isEmpty() ? SideSource{} : SideSource{Kind::device, text, {}};
}

Result<RecordingPlan> RecordingPlan::forRecord(const Arguments& arguments) {
    RecordingPlan plan;
    if (const auto kind = readKind(arguments.value("kind").value_or(u"meeting"_s), plan); !kind) {
        return std::unexpected(kind.error());
    }
    plan.title = arguments.value("title").value_or(QString()).simplified();
    plan.microphone = SideSource::parse(arguments.value("mic").value_or(QString()));
    if (plan.microphone.kind == SideSource::Kind::none) {
        return fail(u"A recording needs a microphone or a file in its place."_s);
    }
    if (const auto system = arguments.value("system")) {
        if (plan.kind == CaptureKind::thought && *system != u"none") {
            return fail(u"A thought records the microphone only; leave --system out."_s);
        }
        plan.system = SideSource::parse(*system);
    } else if (plan.microphone.kind == SideSource::Kind::file) {
        plan.system.kind = SideSource::Kind::none;
    }
    for (const char* side : {"mic", "system"}) {
        if (arguments.value(side) == u"file:"_s) {
            return fail(
                u"--%1 file: needs the path of a sound file after its colon."_s.arg(QLatin1StringView(side)));
        }
    }
    plan.fast = arguments.has("fast");
    if (plan.fast && !plan.fromFiles()) {
        return fail(u"--fast needs files: --mic file:PATH, and --system file:PATH or none."_s);
    }
    return plan;
}

Result<RecordingPlan> RecordingPlan::forImport(const Arguments& arguments) {
    RecordingPlan plan;
    plan.fast = true;
    plan.title = arguments.value("title").value_or(QString()).simplified();
    const auto info = probeSound(arguments.at(0));
    if (!info) {
        return fail(FailureKind::notFound, info.error().message);
    }
    if (const auto sides = readSides(arguments, *info, plan); !sides) {
        return std::unexpected(sides.error());
    }
    plan.at = recordedAt(arguments.at(0), info->duration);
    if (const auto text = arguments.value("at")) {
        const auto date = readDate(*text);
        if (!date) {
            return fail(u"--at takes a date such as 2026-03-02T09:14, not \"%1\"."_s.arg(*text));
        }
        plan.at = *date;
    }
    return plan;
}

}  // namespace lumbro::cli
