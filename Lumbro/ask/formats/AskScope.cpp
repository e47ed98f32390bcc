#include "ask/formats/AskScope.h"

#include "LumbroCore/Text.h"

#include <algorithm>
#include <array>
#include <utility>

namespace lumbro {

namespace {

using Kind = AskScope::Kind;
constexpr std::array<std::pair<Kind, QStringView>, 4> kWords{{
    {Kind::capture, u"capture"},
    {Kind::person, u"person"},
    {Kind::company, u"company"},
    {Kind::project, u"project"},
}};
constexpr QStringView kLibrary = u"library";

}  // namespace

QString AskScope::token() const {
    const auto found = std::ranges::find(kWords, kind, &std::pair<Kind, QStringView>::first);
    return found == kWords.end() ? kLibrary.toString() : found->second.toString() + u':' + id;
}

std::optional<AskScope> AskScope::fromToken(const QString& token) {
    const QStringView text = trimmedBlanks(token);
    if (text == kLibrary) {
        return AskScope{};
    }
    const qsizetype colon = text.indexOf(u':');
    if (colon < 0 || colon + 1 == text.size()) {
        return std::nullopt;
    }
    const auto found = std::ranges::find(kWords, text.left(colon), &std::pair<Kind, QStringView>::second);
    if (found == kWords.end()) {
        return std::nullopt;
    }
    return AskScope{found->first, text.mid(colon + 1).toString()};
}

}  // namespace lumbro
