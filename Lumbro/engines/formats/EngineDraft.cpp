#include "engines/formats/EngineDraft.h"

#include "LumbroCore/Literals.h"

#include <algorithm>

namespace lumbro {

namespace {

const QString voiceInput = u"voice"_s;

EngineDraft::Output outputOf(const EngineResult& result) {
    switch (result.kind) {
        case EngineResult::Kind::chat:
            return EngineDraft::Output::chat;
        case EngineResult::Kind::action:
            return EngineDraft::Output::action;
        case EngineResult::Kind::handoff:
            break;
    }
    return EngineDraft::Output::handoff;
}

QString resultText(const EngineDraft& draft) {
    switch (draft.output) {
        case EngineDraft::Output::chat:
            return EngineResult::chat().text();
        case EngineDraft::Output::action:
            return EngineResult::action(draft.app).text();
        case EngineDraft::Output::handoff:
            break;
    }
    return EngineResult::handoff().text();
}

QString list(const QStringList& items) {
    return u'[' + items.join(u", "_s) + u']';
}

/// The places in the order that the file had them in; new ones behind.
QStringList ordered(const QSet<QString>& chosen, const QStringList& before) {
    QStringList result;
    for (const QString& place : before) {
        if (chosen.contains(place) && !result.contains(place)) {
            result += place;
        }
    }
    QStringList more(chosen.begin(), chosen.end());
    more.removeIf([&](const QString& place) { return result.contains(place); });
    std::ranges::sort(more);
    return result + more;
}

std::optional<QString> unlessEmpty(const QString& text) {
    return text.isEmpty() ? std::nullopt : std::optional(text);
}

}  // namespace

EngineDraft::EngineDraft(const Engine& engine, const QString& text)
    : name(engine.name),
      shortcut(engine.shortcut),
      icon(engine.icon),
      description(engine.description),
      scope(engine.scope),
      output(outputOf(engine.result)),
      app(engine.result.kind == EngineResult::Kind::action ? engine.result.app : u"mail"_s),
      suggest(engine.suggest.begin(), engine.suggest.end()),
      automatic(engine.automatic),
      model(engine.model),
      voice(engine.usesVoice),
      prompt(engine.prompt),
      id(engine.id),
      hidden(engine.hidden),
      url(engine.url),
      original(text),
      inputs(engine.inputs),
      places(engine.suggest) {
    start = fields();
    startPrompt = prompt;
}

QList<EngineField> EngineDraft::fields() const {
    QStringList inputsNow = inputs;
    if (!voice) {
        inputsNow.removeAll(voiceInput);
    } else if (!inputsNow.contains(voiceInput)) {
        inputsNow += voiceInput;
    }
    return {{u"name"_s, name},
            {u"shortcut"_s, unlessEmpty(shortcut)},
            {u"icon"_s, unlessEmpty(icon)},
            {u"description"_s, unlessEmpty(description)},
            {u"scope"_s, rawValue(scope)},
            {u"result"_s, resultText(*this)},
            {u"suggest"_s, list(ordered(suggest, places))},
            {u"auto"_s, automatic ? u"true"_s : u"false"_s},
            {u"model"_s, unlessEmpty(model)},
            {u"inputs"_s, list(inputsNow)}};
}

QString EngineDraft::written(const QString& onto) const {
    QList<EngineField> changed = fields();
    changed.removeIf([this](const EngineField& field) { return start.contains(field); });
    const bool hasNewPrompt = prompt != startPrompt;
    if (changed.isEmpty() && !hasNewPrompt) {
        return onto;
    }
    return engineText(onto, changed, hasNewPrompt ? std::optional(prompt) : std::nullopt);
}

std::optional<Engine> EngineDraft::engine() const {
    auto parsed = Engine::parse(written(original), url);
    return parsed ? std::optional(*parsed) : std::nullopt;
}

void EngineDraft::change(EngineScope to) {
    if (to == scope) {
        return;
    }
    scope = to;
    const QStringList offered = defaultPlaces(to);
    suggest = {offered.begin(), offered.end()};
    if (to != EngineScope::meeting) {
        automatic = false;
        if (output == Output::handoff && !hidden) {
            output = Output::chat;
        }
    }
}

}  // namespace lumbro
