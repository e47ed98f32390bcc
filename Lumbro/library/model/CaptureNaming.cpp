#include "library/model/CaptureNaming.h"

#include "LumbroCore/LockedUpdate.h"
#include "LumbroCore/Text.h"
#include "engines/formats/EngineInput.h"
#include "library/CaptureFiles.h"
#include "library/ContextLibrary.h"
#include "library/model/Background.h"

#include <QPointer>

#include <algorithm>

namespace lumbro {

namespace {

constexpr qsizetype segmentsForTitle = 80;
constexpr qsizetype longestTitle = 59;

bool isUnnamed(const CaptureMeta& meta) {
    return meta.title == CaptureNaming::newNote() || meta.title == CaptureNaming::meeting();
}

}  // namespace

CaptureNaming::CaptureNaming(ContextLibrary& library, AgentProvider& agent, Background& background)
    : m_library(library), m_agent(agent), m_background(background) {}

void CaptureNaming::nameIfNeeded(const CaptureRecord& record, std::optional<TranscriptSegments> segments,
                                 std::optional<QString> notes) {
    if (!isUnnamed(record.meta)) {
        return;
    }
    const TranscriptSegments spoken = segments ? *segments : m_library.segments(record);
    const QString written = notes ? *notes : m_library.notes(record);
    if (!spoken.isEmpty() || !written.trimmed().isEmpty()) {
        autoTitle(record, spoken, written);
    }
}

void CaptureNaming::autoTitle(const CaptureRecord& record, const TranscriptSegments& segments,
                              const QString& notes) {
    AgentRequest request;
    request.systemPrompt =
        u"You name meetings and notes. Reply with a 2-5 word title in Title Case. "
        "No quotes, no punctuation at the end."_s;
    request.instruction = u"Name this note."_s;
    request.context =
        EngineInput::build(record, segments.first(std::min(segments.size(), segmentsForTitle)), notes);
    request.model = u"haiku"_s;
    m_background.run(askForTitle(record.id(), std::move(request), std::make_shared<CancellationHandle>()));
}

void CaptureNaming::cancelAll() {
    const QList<Handle> underWay = m_handles;
    for (const Handle& handle : underWay) {
        handle->cancel();
    }
}

std::optional<QString> CaptureNaming::titleFrom(const QString& reply) {
    for (const QStringView line : QStringView(reply).split(u'\n')) {
        if (line.trimmed().isEmpty()) {
            continue;
        }
        const QString title = trimmedOf(line.trimmed(), u"\"'#* .").toString();
        const bool fits = !title.isEmpty() && firstCharacters(title, longestTitle) == title;
        return fits ? std::optional(title) : std::nullopt;
    }
    return std::nullopt;
}

Task<> CaptureNaming::askForTitle(QString captureID, AgentRequest request, Handle handle) {
    const QPointer<CaptureNaming> alive(this);
    m_handles.append(handle);
    const Result<QString> reply = co_await m_agent.run(std::move(request), handle);
    if (!alive) {
        co_return;
    }
    m_handles.removeOne(handle);
    const auto title = reply && !handle->isCancelled ? titleFrom(*reply) : std::nullopt;
    auto record = m_library.record(captureID);
    if (!title || !record) {
        co_return;
    }
    // Another process may have named it meanwhile, or be about to.
    const FolderLock lock(m_library.capturesFolder());
    const auto meta = captureFiles::meta(*record);
    if (!meta || !isUnnamed(*meta)) {
        m_library.reloadCaptures();
        co_return;
    }
    record->meta = *meta;
    record->meta.title = *title;
    if (m_library.save(*record)) {
        Q_EMIT renamed(captureID, *title);
    }
}

}  // namespace lumbro
