#pragma once

#include <QByteArrayView>
#include <QDateTime>
#include <QString>

#include <optional>

namespace lumbro {

/// One line of a transcript, as far as it matters.
struct ChatLine {
    enum class Type { other, user, assistant, customTitle, foundTitle };

    Type type = Type::other;
    /// It belongs to a subagent.
    bool isSidechain = false;
    QString id;
    QString session;
    QString folder;
    /// Whole seconds; absent when the line has no time that can be read.
    std::optional<QDateTime> time;
    /// The chat's title, for the two title types.
    QString title;
    /// What the person asked, of a user line; absent when it is not from a person. Not yet tidied.
    std::optional<QString> prompt;
    /// The answer's text, of an assistant line. Not yet tidied.
    QString answer;

    /// Texts longer than this are cut before anything else is done with them; bytes.
    static constexpr qsizetype maxTextBytes = qsizetype(4) * 1024 * 1024;

    /// What is wanted of a line: all, or of an answer its type, its text and whether it is a subagent's.
    enum class Part { all, answer };

    /// Nothing when the bytes are not one JSON object in UTF-8. Any thread.
    static std::optional<ChatLine> parse(QByteArrayView bytes, Part part = Part::all);
};

}  // namespace lumbro
