#include "chats/formats/ChatLine.h"

#include "LumbroCore/Dates.h"
#include "LumbroCore/Literals.h"
#include "chats/formats/ChatText.h"
#include "chats/formats/JsonScanner.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QStringList>

#include <utility>

namespace lumbro {

namespace {

constexpr qsizetype maxFieldBytes = qsizetype(64) * 1024;

/// What a line says about where its text comes from.
struct Source {
    bool isMeta = false;
    bool isCompactSummary = false;
    QString entrypoint;
    QString promptSource;
    std::optional<QString> originKind;

    bool isPerson() const {
        return !isMeta && !isCompactSummary && !entrypoint.startsWith(u"sdk"_s) &&
               promptSource != u"system"_s && originKind.value_or(u"human"_s) == u"human"_s;
    }
};

/// The text in `message.content`.
struct Content {
    bool isString = false;
    bool isArray = false;
    QString text;
};

struct Titles {
    QString title;
    QString aiTitle;
    QString customTitle;

    QString first() const { return !title.isEmpty() ? title : !aiTitle.isEmpty() ? aiTitle : customTitle; }
};

std::optional<QString> field(JsonScanner& scanner) {
    return scanner.string(maxFieldBytes);
}

/// The text of one element of the content; nothing when it is of another kind.
std::optional<QString> textBlock(JsonScanner& scanner) {
    std::optional<QString> type;
    std::optional<QString> text;
    const bool isObject = scanner.members([&](QByteArrayView key) {
        if (key == "type") {
            type = field(scanner);
        } else if (key == "text") {
            text = scanner.string(ChatLine::maxTextBytes);
        } else {
            scanner.skip();
        }
    });
    if (!isObject) {
        scanner.skip();
    }
    return type == u"text"_s ? text : std::nullopt;
}

Content content(JsonScanner& scanner) {
    Content content;
    if (scanner.peek() == '"') {
        content.text = scanner.string(ChatLine::maxTextBytes).value_or(QString());
        content.isString = true;
        return content;
    }
    QStringList texts;
    content.isArray = scanner.elements([&] {
        if (auto text = textBlock(scanner)) {
            texts.append(*std::move(text));
        }
    });
    if (!content.isArray) {
        scanner.skip();
    }
    // Most have one, which then is not copied.
    content.text = texts.size() == 1 ? std::move(texts.first()) : texts.join(u'\n');
    return content;
}

Content messageContent(JsonScanner& scanner) {
    Content result;
    const bool isObject = scanner.members([&](QByteArrayView key) {
        if (key == "content") {
            result = content(scanner);
        } else {
            scanner.skip();
        }
    });
    if (!isObject) {
        scanner.skip();
    }
    return result;
}

std::optional<QString> originKind(JsonScanner& scanner) {
    std::optional<QString> kind;
    const bool isObject = scanner.members([&](QByteArrayView key) {
        if (key == "kind") {
            kind = field(scanner);
        } else {
            scanner.skip();
        }
    });
    if (!isObject) {
        scanner.skip();
    }
    return kind;
}

/// An internet date-time, with or without a fraction of the second, which is dropped.
std::optional<QDateTime> timestamp(QString text) {
    constexpr qsizetype secondsEnd = 19;
    constexpr qsizetype timeBegin = 11;
    if (text.size() > secondsEnd && text[secondsEnd] == u'.') {
        qsizetype end = secondsEnd + 1;
        while (end < text.size() && text[end] >= u'0' && text[end] <= u'9') {
            ++end;
        }
        if (end == secondsEnd + 1) {
            return std::nullopt;
        }
        text.remove(secondsEnd, end - secondsEnd);
    }
    const bool hasZone = text.endsWith(u'Z') || text.indexOf(u'+', timeBegin) == secondsEnd ||
                         text.indexOf(u'-', timeBegin) == secondsEnd;
    return hasZone ? dates::fromIso(text) : std::nullopt;
}

ChatLine::Type lineType(const QString& word) {
    using enum ChatLine::Type;
    return word == u"user"_s           ? user
           : word == u"assistant"_s    ? assistant
           : word == u"custom-title"_s ? customTitle
           : word == u"ai-title"_s     ? foundTitle
                                       : other;
}

/// A slash command reads as it was typed.
QString asTyped(const QString& text) {
    auto command = chatText::between(text, u"<command-name>", u"</command-name>");
    if (!command) {
        return text;
    }
    const auto arguments = chatText::between(text, u"<command-args>", u"</command-args>");
    return arguments ? *command + u' ' + *arguments : *command;
}

/// The members of a line, gathered in whatever order they come.
struct Members {
    ChatLine line;
    Source source;
    Content content;
    Titles titles;

    void takeOfAnswer(JsonScanner& scanner, QByteArrayView key);
    void take(JsonScanner& scanner, QByteArrayView key);
    ChatLine finished() &&;
};

void Members::takeOfAnswer(JsonScanner& scanner, QByteArrayView key) {
    if (key == "type") {
        line.type = lineType(field(scanner).value_or(QString()));
    } else if (key == "isSidechain") {
        line.isSidechain = scanner.isTrue();
    } else if (key == "message") {
        content = messageContent(scanner);
    } else {
        scanner.skip();
    }
}

void Members::take(JsonScanner& scanner, QByteArrayView key) {
    const auto text = [&] { return field(scanner).value_or(QString()); };
    if (key == "uuid") {
        line.id = text();
    } else if (key == "sessionId") {
        line.session = text();
    } else if (key == "cwd") {
        line.folder = text();
    } else if (key == "timestamp") {
        line.time = timestamp(text());
    } else if (key == "isMeta") {
        source.isMeta = scanner.isTrue();
    } else if (key == "isCompactSummary") {
        source.isCompactSummary = scanner.isTrue();
    } else if (key == "entrypoint") {
        source.entrypoint = text();
    } else if (key == "promptSource") {
        source.promptSource = text();
    } else if (key == "origin") {
        source.originKind = originKind(scanner);
    } else if (key == "title") {
        titles.title = text();
    } else if (key == "aiTitle") {
        titles.aiTitle = text();
    } else if (key == "customTitle") {
        titles.customTitle = text();
    } else {
        takeOfAnswer(scanner, key);
    }
}

ChatLine Members::finished() && {
    if (line.type == ChatLine::Type::user && source.isPerson() && (content.isString || content.isArray)) {
        line.prompt = asTyped(content.text);
    } else if (line.type == ChatLine::Type::assistant && content.isArray) {
        line.answer = content.text;
    }
    line.title = titles.first();
    return std::move(line);
}

}  // namespace

std::optional<ChatLine> ChatLine::parse(QByteArrayView bytes, Part part) {
    if (!QByteArray::fromRawData(bytes.data(), bytes.size()).isValidUtf8()) {
        return std::nullopt;
    }
    JsonScanner scanner(bytes);
    Members members;
    const auto take = part == Part::answer ? &Members::takeOfAnswer : &Members::take;
    const bool isObject = scanner.members([&](QByteArrayView key) { (members.*take)(scanner, key); });
    if (!isObject || !scanner.isDone()) {
        return std::nullopt;
    }
    return std::move(members).finished();
}

}  // namespace lumbro
