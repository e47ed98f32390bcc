#include "cli/McpCapture.h"

#include "cli/CaptureText.h"

#include <QJsonObject>

namespace lumbro::cli {

namespace {

QJsonObject only(const QJsonObject& json, const QStringList& keys) {
    QJsonObject part;
    for (const QString& key : keys) {
        part.insert(key, json[key]);
    }
    return part;
}

McpToolResult partOf(const CaptureDetails& details, const QString& text, const QString& key) {
    return {.text = text, .structured = only(captureJson(details), {u"id"_s, u"title"_s, key})};
}

}  // namespace

McpCapture::McpCapture(const Output& output, const LinkFence& fence, const CaptureRecord& record)
    : m_output(output), m_fence(fence), m_record(record) {}

Result<McpToolResult> McpCapture::read(const QString& part, const QString& engine) const {
    if (!engine.isEmpty() && part != u"handoff") {
        return fail(u"\"engine\" goes with the part \"handoff\" only."_s);
    }
    // Links within the library are the user's own business.
    if (!m_fence.holdsAll(m_record.folder)) {
        return fail(leadsOut(m_record.id()));
    }
    const CaptureDetails details = captureDetails(m_record);
    if (!part.isEmpty()) {
        return readPart(details, part, engine);
    }
    QString text = captureText(m_output, details);
    if (details.isTranscriptBroken) {
        text += u"\ntranscript.json can't be read, so there are no words.\n"_s;
    }
    return McpToolResult{.text = text, .structured = captureJson(details)};
}

QString McpCapture::leadsOut(const QString& id) {
    return u"%1 holds a link that leads out of the library; it can't be read here."_s.arg(id);
}

Result<McpToolResult> McpCapture::readPart(const CaptureDetails& details, const QString& part,
                                           const QString& engine) const {
    const QString id = m_record.id();
    if (part == u"handoff") {
        return readHandoffs(details, engine);
    }
    if (part == u"notes") {
        return details.notes.trimmed().isEmpty() ? Result<McpToolResult>(fail(u"%1 has no notes."_s.arg(id)))
                                                 : partOf(details, details.notes, u"notes"_s);
    }
    if (details.isTranscriptBroken) {
        return fail(u"%1/transcript.json can't be read, so there are no words."_s.arg(id));
    }
    return details.paragraphs.isEmpty()
               ? Result<McpToolResult>(fail(u"%1 has no transcript."_s.arg(id)))
               : partOf(details, transcriptText(m_output, details.paragraphs), u"segments"_s);
}

Result<McpToolResult> McpCapture::readHandoffs(CaptureDetails details, const QString& engine) const {
    const QString id = m_record.id();
    const QString known = QStringList(details.handoffs.keys()).join(u", "_s);
    if (!engine.isEmpty() && !details.handoffs.contains(engine)) {
        return fail(u"%1 has no hand-off of \"%2\"; it has: %3."_s.arg(id, engine.left(80),
                                                                       known.isEmpty() ? u"none"_s : known));
    }
    if (details.handoffs.isEmpty()) {
        return fail(u"%1 has no hand-offs."_s.arg(id));
    }
    if (!engine.isEmpty()) {
        details.handoffs = {{engine, details.handoffs.value(engine)}};
    }
    QStringList texts;
    for (auto it = details.handoffs.begin(); it != details.handoffs.end(); ++it) {
        texts += u"## "_s + it.key() + u"\n\n"_s + it.value().trimmed() + u'\n';
    }
    return partOf(details, texts.join(u'\n'), u"handoffs"_s);
}

}  // namespace lumbro::cli
