#include "ask/formats/AskScope.h"

#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"

#include <algorithm>
#include <array>
#include <utility>

namespace lumbro {

namespace {

using Kind = AskScope::Kind;
constexpr std::array<std::pair<Kind, QStringView>, 4> words{{
    {Kind::capture, u"capture"},
    {Kind::person, u"person"},
    {Kind::company, u"company"},
    {Kind::project, u"project"},
}};
constexpr QStringView library = u"library";

}  // namespace

QString AskScope::token() const {
    const auto found = std::ranges::find(words, kind, &std::pair<Kind, QStringView>::first);
    return found == words.end() ? library.toString() : found->second.toString() + u':' + id;
}

std::optional<AskScope> AskScope::fromToken(const QString& token) {
    const QStringView text = trimmedBlanks(token);
    if (text == library) {
        return AskScope{};
    }
    const qsizetype colon = text.indexOf(u':');
    if (colon < 0 || colon + 1 == text.size()) {
        return std::nullopt;
    }
    const auto found = std::ranges::find(words, text.left(colon), &std::pair<Kind, QStringView>::second);
    if (found == words.end()) {
        return std::nullopt;
    }
    return AskScope{found->first, text.mid(colon + 1).toString()};
}

QString AskScope::suggestPlace(const QString& liveCaptureID) const {
    switch (kind) {
        case Kind::capture:
            return id == liveCaptureID ? u"live"_s : u"notes"_s;
        case Kind::person:
            return u"person"_s;
        case Kind::company:
            return u"company"_s;
        case Kind::project:
        case Kind::library:
            break;
    }
    return u"home"_s;
}

QList<EngineScope> AskScope::allowedScopes() const {
    switch (kind) {
        case Kind::capture:
            return {EngineScope::meeting};
        case Kind::person:
            return {EngineScope::person, EngineScope::library};
        case Kind::company:
            return {EngineScope::company, EngineScope::library};
        case Kind::project:
        case Kind::library:
            break;
    }
    return {EngineScope::library};
}

QList<Engine> AskScope::chipEngines(const QList<Engine>& suggested,
                                    const std::function<bool(const QString& engineID)>& hasHandoff) const {
    const QList<EngineScope> allowed = allowedScopes();
    QList<Engine> chips = suggested;
    chips.removeIf([&](const Engine& engine) {
        const bool isWritten = kind == Kind::capture && engine.automatic && hasHandoff(engine.id);
        return isWritten || !allowed.contains(engine.scope);
    });
    return chips;
}

}  // namespace lumbro
