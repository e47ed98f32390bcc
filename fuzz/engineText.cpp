// An engine file that is changed through its form, and one that an agent has written. The input is the file,
// or the agent's answer; behind a zero byte stands a new name.
#include "Check.h"
#include "engines/formats/EngineReply.h"
#include "engines/formats/Frontmatter.h"

using namespace lumbro;

namespace {

/// All fields but one.
QMap<QString, QString> without(QMap<QString, QString> fields, const QString& key) {
    fields.remove(key);
    return fields;
}

void change(const QString& text, const QString& name) {
    const QString key = QStringLiteral("name");
    const Frontmatter::Parsed before = Frontmatter::parse(text);
    const QString changed = engineText(text, {{key, name}}, std::nullopt);
    const Frontmatter::Parsed after = Frontmatter::parse(changed);
    fuzz::check(after.found);
    if (before.found) {
        fuzz::check(without(after.fields, key) == without(before.fields, key));
        fuzz::check(after.body == before.body);
    }
    if (keepsInEngineText(name)) {
        fuzz::check(after.value(key) == name);
    }
    const QString gone = engineText(text, {{key, std::nullopt}}, QStringLiteral("New prompt."));
    fuzz::check(!Frontmatter::parse(gone).fields.contains(key));
    fuzz::check(Frontmatter::parse(gone).body.trimmed() == u"New prompt.");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray input = fuzz::bytes(data, size);
    const qsizetype cut = input.indexOf('\0');
    const QString text = QString::fromUtf8(cut < 0 ? input : input.first(cut));
    const QString name = cut < 0 ? QStringLiteral("New") : QString::fromUtf8(input.mid(cut + 1));
    change(text, name);

    const QString path = QStringLiteral("/engines/seed.md");
    if (const auto engine = Engine::parse(text, path)) {
        const EngineDraft draft(*engine, text);
        fuzz::check(draft.written(text) == text && draft.engine() == *engine);
    }
    const QString blankText = QStringLiteral("---\nname: New\nscope: meeting\n---\nPrompt\n");
    const EngineDraft blank(*Engine::parse(blankText, path), blankText);
    if (const auto made = engineReply::draft(text, blank)) {
        const auto engine = made->engine();
        fuzz::check(engine.has_value() && engine->name == made->name && engine->prompt == made->prompt);
        // No answer makes an engine that acts by itself.
        fuzz::check(!engine->automatic && !engine->watch && !engine->hidden && engine->tools.isEmpty());
    }
    return 0;
}
