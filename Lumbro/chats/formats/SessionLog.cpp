#include "chats/formats/SessionLog.h"

#include "LumbroCore/Dates.h"
#include "LumbroCore/Json.h"
#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"
#include "chats/formats/ChatText.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QMap>

#include <algorithm>
#include <ranges>

namespace lumbro {

namespace {

QString chatTitle(const SessionEntries& chat) {
    for (const SessionEntry& entry : chat | std::views::reverse) {
        if (entry.title) {
            return entry.title->simplified();
        }
    }
    // A heading is one line, and a prompt may have many.
    constexpr qsizetype length = 60;
    return firstCharacters(chat.first().prompt, length).simplified();
}

QString heading(const SessionEntries& chat) {
    constexpr qsizetype idLength = 8;
    return u"## %1 (%2 · session %3)"_s.arg(chatTitle(chat), dates::readable(chat.first().time),
                                            chat.first().session.left(idLength));
}

}  // namespace

QByteArray SessionLog::encode(const SessionEntries& entries) {
    QJsonArray array;
    for (const SessionEntry& entry : entries) {
        array.append(entry.toJson());
    }
    return json::encode(array);
}

std::optional<SessionEntries> SessionLog::decode(const QByteArray& bytes) {
    const QJsonDocument document = QJsonDocument::fromJson(bytes);
    if (!document.isArray()) {
        return std::nullopt;
    }
    SessionEntries entries;
    for (const auto& value : document.array()) {
        auto entry = SessionEntry::fromJson(value.toObject());
        if (!entry) {
            return std::nullopt;
        }
        entries.append(*std::move(entry));
    }
    return entries;
}

QString SessionLog::markdown(const SessionEntries& entries, const QString& title) {
    QStringList lines{u"# "_s + chatText::tidyName(title)};
    if (!entries.isEmpty()) {
        lines.append(u"Folder: "_s + chatText::tidyName(entries.first().folder));
    }
    for (const SessionEntries& chat : grouped(entries)) {
        lines << u""_s << heading(chat);
        for (const SessionEntry& entry : chat) {
            lines << u""_s << u"[%1] Me: "_s.arg(dates::shortTime(entry.time)) + entry.prompt;
            if (!entry.reply.isEmpty()) {
                lines << u"Claude: "_s + entry.reply;
            }
        }
    }
    return lines.join(u'\n') + u'\n';
}

QList<SessionEntries> SessionLog::grouped(const SessionEntries& entries) {
    QMap<QString, SessionEntries> bySession;
    for (const SessionEntry& entry : entries) {
        bySession[entry.session].append(entry);
    }
    QList<SessionEntries> groups = bySession.values();
    for (SessionEntries& group : groups) {
        std::ranges::stable_sort(group, {}, &SessionEntry::time);
    }
    std::ranges::stable_sort(groups, {}, [](const SessionEntries& group) { return group.first().time; });
    return groups;
}

SessionEntries SessionLog::unread(const SessionEntries& entries, const CaptureMeta& meta) {
    SessionEntries result;
    std::ranges::copy_if(entries, std::back_inserter(result), [&](const SessionEntry& entry) {
        return !meta.sessionCursor || entry.time > *meta.sessionCursor;
    });
    return result;
}

}  // namespace lumbro
