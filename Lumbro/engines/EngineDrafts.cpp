#include "engines/EngineDrafts.h"

#include "LumbroCore/Text.h"
#include "engines/formats/EngineReply.h"
#include "engines/formats/Frontmatter.h"
#include "library/ContextLibrary.h"
#include "library/EngineCatalogue.h"

#include <QFileInfo>

namespace lumbro {

namespace {

constexpr qsizetype longestId = 60;
constexpr int mostAttempts = 2;

/// The key whose value does not come back from the text as it was meant; empty when all do.
QString lostKey(const QString& text, const QList<EngineField>& meant) {
    const Frontmatter::Parsed parsed = Frontmatter::parse(text);
    for (const auto& [key, value] : meant) {
        if (value && parsed.value(key) != *value) {
            return key;
        }
    }
    return {};
}

AgentRequest requestFor(const QString& wish, const QString& complaint) {
    AgentRequest request;
    request.systemPrompt = engineReply::systemPrompt();
    request.instruction = u"Write the engine that the user describes in stdin."_s;
    request.context = u"# WHAT THE ENGINE SHOULD DO\n"_s + wish;
    if (!complaint.isEmpty()) {
        request.context += u"\n\n# YOUR LAST ANSWER COULD NOT BE READ\n"_s + complaint;
    }
    request.model = u"sonnet"_s;
    return request;
}

}  // namespace

Result<Engine> saveDraft(ContextLibrary& library, const EngineDraft& draft, const QList<EngineField>& more,
                         const QString& path) {
    QString text = draft.written(draft.original);
    if (!more.isEmpty()) {
        text = engineText(text, more, std::nullopt);
    }
    QList<EngineField> meant = draft.fields() + more;
    meant.removeIf([&draft](const EngineField& field) { return draft.start.contains(field); });
    if (const QString key = lostKey(text, meant); !key.isEmpty()) {
        return fail(
            u"The value of \"%1\" can't stand in an engine file: leave out line ends, \" #\", and "
            "blanks or quotes at its ends."_s.arg(key));
    }
    const auto saved = library.saveEngine(text, path);
    if (!saved) {
        return fail(u"It is no engine so: %1."_s.arg(saved.error().message));
    }
    return *saved;
}

EngineDraft EngineDrafts::blank() const {
    const QString path = freePath(u"new-engine"_s);
    const QString text = EngineCatalogue::templateText(QFileInfo(path).completeBaseName());
    return {Engine::parse(text, path).value_or(Engine()), text};
}

Task<Result<EngineDraft>> EngineDrafts::fromWish(QString wish, Cancel cancel) {
    const EngineDraft untouched = blank();
    QString complaint;
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
        const Result<QString> reply = co_await m_agent.run(requestFor(wish, complaint), cancel);
        if (!reply) {
            co_return std::unexpected(reply.error());
        }
        if (const auto draft = engineReply::draft(*reply, untouched)) {
            co_return *draft;
        } else {
            complaint = draft.error().message;
        }
    }
    co_return fail(
        u"The agent's answer is no engine: %1. Say it in other words, or write the prompt "
        "yourself with --prompt."_s.arg(complaint));
}

QString EngineDrafts::freePath(const QString& name) const {
    QString slug = slugified(name).left(longestId);
    while (slug.endsWith(u'-') || (!slug.isEmpty() && slug.back().isHighSurrogate())) {
        slug.chop(1);
    }
    const QString base = m_library.enginesFolder() + u'/' + (slug.isEmpty() ? u"new-engine"_s : slug);
    QString path = base + u".md"_s;
    for (int number = 2; QFileInfo::exists(path) || QFileInfo(path).isSymLink(); ++number) {
        path = base + u"-%1.md"_s.arg(number);
    }
    return path;
}

Result<Engine> EngineDrafts::create(const EngineDraft& draft, const QList<EngineField>& more) {
    EngineDraft named = draft;
    const QString path = freePath(draft.name);
    if (named.shortcut == draft.id) {
        named.shortcut = QFileInfo(path).completeBaseName();
    }
    return saveDraft(m_library, named, more, path);
}

}  // namespace lumbro
