#include "memory/formats/IdeaItem.h"

#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"
#include "memory/formats/MemoryText.h"
#include "memory/formats/PromiseDates.h"

namespace lumbro {

namespace {

constexpr QStringView dash = u" — ";
constexpr QStringView dot = u" · ";

/// The signs of the line become some that look nearly the same.
QString withoutSeparators(QString text) {
    return WikiLink::withoutOpen(text.replace(dash.toString(), u" – "_s).replace(dot.toString(), u" • "_s));
}

}  // namespace

std::optional<IdeaItem> IdeaItem::parse(QStringView line) {
    QStringView rest = memoryText::trimmedLine(line);
    if (!rest.startsWith(u"- ")) {
        return std::nullopt;
    }
    IdeaItem idea;
    const QStringView whole = rest;
    rest = memoryText::withoutAnchor(rest.sliced(2), idea.id);
    if (idea.id.isEmpty()) {
        idea.id = memoryText::lineId(u"i-line-", whole);
    }
    const QList<QStringView> parts = WikiLink::split(rest, dot);
    const QStringView head = parts.first();
    const qsizetype before = WikiLink::split(head, dash).first().size();
    idea.hook = head.first(before).toString().remove(u"**"_s);
    idea.angle = before == head.size() ? QString() : head.sliced(before + dash.size()).toString();
    for (const QStringView part : parts.sliced(1)) {
        if (part.contains(u"[[captures/")) {
            idea.source = WikiLink::first(part);
        } else if (PromiseDates::looksLikeDay(part)) {
            idea.date = part.toString();
        }
    }
    return idea;
}

QString IdeaItem::line() const {
    QString bare = hook;
    bare = trimmedBlanks(bare.remove(u"**"_s)).toString();
    QString text = u"- **"_s + withoutSeparators(bare) + u"**"_s + u" — "_s +
                   withoutSeparators(trimmedBlanks(angle).toString());
    if (source) {
        text += u" · "_s + source->text();
    }
    return text + u" · "_s + date + u" ^"_s + id;
}

}  // namespace lumbro
