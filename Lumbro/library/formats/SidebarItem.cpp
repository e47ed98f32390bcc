#include "library/formats/SidebarItem.h"

#include "LumbroCore/Literals.h"

#include <algorithm>
#include <array>
#include <utility>

namespace lumbro {

namespace {

using Kind = SidebarItem::Kind;

const std::array<std::pair<Kind, QString>, 11>& words() {
    static const std::array<std::pair<Kind, QString>, 11> table{{
        {Kind::capture, u"capture"_s},
        {Kind::person, u"person"_s},
        {Kind::project, u"project"_s},
        {Kind::company, u"company"_s},
        {Kind::today, u"today"_s},
        {Kind::ask, u"ask"_s},
        {Kind::promises, u"promises"_s},
        {Kind::ideas, u"ideas"_s},
        {Kind::engines, u"engines"_s},
        {Kind::people, u"people"_s},
        {Kind::companies, u"companies"_s},
    }};
    return table;
}

bool hasPayload(Kind kind) {
    return kind <= Kind::company;
}

}  // namespace

QString SidebarItem::token() const {
    const QString word = std::ranges::find(words(), kind, &std::pair<Kind, QString>::first)->second;
    return hasPayload(kind) ? word + u':' + id : word;
}

std::optional<SidebarItem> SidebarItem::fromToken(const QString& token) {
    const qsizetype colon = token.indexOf(u':');
    const QString word = token.left(colon < 0 ? token.size() : colon);
    const auto found = std::ranges::find(words(), word, &std::pair<Kind, QString>::second);
    if (found == words().end()) {
        return std::nullopt;
    }
    const QString payload = colon < 0 ? QString() : token.mid(colon + 1);
    if (hasPayload(found->first) ? payload.isEmpty() : colon >= 0) {
        return std::nullopt;
    }
    return SidebarItem{found->first, payload};
}

}  // namespace lumbro
