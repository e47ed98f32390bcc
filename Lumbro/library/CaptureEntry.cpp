#include "library/CaptureEntry.h"

#include "LumbroCore/Dates.h"
#include "LumbroCore/Json.h"

#include <optional>
#include <type_traits>

namespace lumbro {

namespace {

template <typename Value>
void addSome(json::ObjectWriter& writer, const char* key, const std::optional<Value>& value) {
    if (!value) {
        return;
    }
    if constexpr (std::is_same_v<Value, QDateTime>) {
        writer.add(key, dates::iso(*value));
    } else {
        writer.add(key, *value);
    }
}

}  // namespace

// Without a JSON value for each of thousands of captures.
QByteArray captureEntry(const CaptureSummary& summary) {
    constexpr qsizetype usualSize = 640;
    const CaptureMeta& meta = summary.record.meta;
    QByteArray entry;
    entry.reserve(usualSize);
    {
        json::ObjectWriter writer(entry, 1);
        addSome(writer, "attendeeEmails", meta.attendeeEmails);
        addSome(writer, "attendees", meta.attendees);
        addSome(writer, "callApp", meta.callApp);
        addSome(writer, "callAppBundleID", meta.callAppBundleID);
        addSome(writer, "endedAt", meta.endedAt);
        addSome(writer, "eventID", meta.eventID);
        writer.add("handoffs", summary.handoffs);
        writer.add("id", summary.record.id());
        writer.add("kind", rawValue(meta.kind));
        addSome(writer, "memorizedAt", meta.memorizedAt);
        addSome(writer, "sessionCursor", meta.sessionCursor);
        addSome(writer, "sessionKey", meta.sessionKey);
        writer.add("sources", meta.sources);
        writer.add("startedAt", dates::iso(meta.startedAt));
        writer.add("title", meta.title);
        writer.add("words", summary.words);
    }
    return entry;
}

}  // namespace lumbro
