#include "ask/formats/AskReply.h"

#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"

namespace lumbro {

namespace {

constexpr QStringView sourcesLabel = u"SOURCES:";
constexpr QStringView actionLabel = u"ACTION:";
constexpr QStringView decoration = u" \t*`";
constexpr QStringView wordDecoration = u" \t*`.";
constexpr qsizetype mostSources = 3;

/// The slug that a path such as "memory/people/dana-kim.md" ends with.
QString slugIn(const QString& path) {
    const QString name = path.sliced(path.lastIndexOf(u'/') + 1);
    const qsizetype dot = name.lastIndexOf(u'.');
    return dot < 0 ? name : name.first(dot);
}

std::optional<AskSource> entity(SidebarItem::Kind kind, const QString& token,
                                const std::function<std::optional<QString>(const QString&)>& find) {
    const QString slug = slugIn(token);
    const auto name = find ? find(slug) : std::nullopt;
    return name ? std::optional(AskSource{*name, {kind, slug}}) : std::nullopt;
}

std::optional<AskSource> sourceFor(const QString& token, const AskLookup& lookup) {
    using Kind = SidebarItem::Kind;
    if (const auto capture = lookup.capture ? lookup.capture(token) : std::nullopt) {
        return capture;
    }
    if (token.contains(u"people/")) {
        return entity(Kind::person, token, lookup.person);
    }
    if (token.contains(u"projects/")) {
        return entity(Kind::project, token, lookup.project);
    }
    if (token.contains(u"promises")) {
        return AskSource{u"Promises"_s, {Kind::promises, {}}};
    }
    if (token.contains(u"ideas")) {
        return AskSource{u"Ideas"_s, {Kind::ideas, {}}};
    }
    return std::nullopt;
}

}  // namespace

AskReply AskReply::parse(const QString& output) {
    AskReply reply;
    // With a zero character its file would pass for no text.
    QStringList lines = QString(output).remove(u'\r').remove(QChar::Null).split(u'\n');
    for (qsizetype i = lines.size() - 1; i >= 0; --i) {
        if (isSourcesLine(lines.at(i))) {
            reply.rawSources = tokens(lines.takeAt(i));
            break;
        }
    }
    for (qsizetype i = lines.size() - 1; i >= 0; --i) {
        reply.action = actionIn(lines.at(i));
        if (reply.action) {
            lines.removeAt(i);
            break;
        }
    }
    reply.text = lines.join(u'\n').trimmed();
    return reply;
}

bool AskReply::isSourcesLine(QStringView line) {
    return line.first(qMin(line.size(), sourcesLabel.size())).toString().toUpper().startsWith(sourcesLabel);
}

QStringList AskReply::tokens(const QString& line) {
    QStringList found;
    for (const QStringView piece : QStringView(line).mid(sourcesLabel.size()).split(u',')) {
        const QStringView token = trimmedOf(trimmedBlanks(piece), u"`*");
        if (!token.isEmpty()) {
            found.append(token.toString());
        }
    }
    return found;
}

std::optional<QString> AskReply::actionIn(const QString& line) {
    const QStringView bare = trimmedOf(line, decoration);
    if (!bare.first(qMin(bare.size(), actionLabel.size())).toString().toUpper().startsWith(actionLabel)) {
        return std::nullopt;
    }
    const QString word = trimmedOf(bare.mid(actionLabel.size()), wordDecoration).toString().toLower();
    return word.isEmpty() ? std::nullopt : std::optional(word);
}

QList<AskSource> AskReply::resolve(const QStringList& tokens, const AskLookup& lookup) {
    QList<AskSource> sources;
    for (const QString& token : tokens) {
        const auto source = sources.size() < mostSources ? sourceFor(token, lookup) : std::nullopt;
        if (source && !sources.contains(*source)) {
            sources.append(*source);
        }
    }
    return sources;
}

}  // namespace lumbro
