#include "ask/formats/AskScope.h"

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

}  // namespace lumbro
