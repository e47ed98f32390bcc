#include "ask/formats/EventLines.h"

#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"
#include "actions/formats/EventDraft.h"

#include <QStringList>

#include <algorithm>
#include <array>

namespace lumbro::eventLines {

namespace {

constexpr std::array<QStringView, 4> labels{u"event:", u"when:", u"length:", u"with:"};

bool isEventLine(const QString& line) {
    const QString bare = trimmedBlanks(QString(line).remove(u"**"_s)).toString().toLower();
    return std::ranges::any_of(labels, [&](QStringView label) { return bare.startsWith(label); });
}

}  // namespace

bool holdsEvent(const QString& text) {
    return EventDraft::parse(text).has_value();
}

QString removed(const QString& text) {
    QStringList lines = text.split(u'\n');
    lines.removeIf(isEventLine);
    return lines.join(u'\n').trimmed();
}

}  // namespace lumbro::eventLines
