#pragma once

#include "memory/formats/WikiLink.h"

#include <QDate>
#include <QString>
#include <QStringList>
#include <QStringView>

#include <optional>

namespace lumbro {

/// Who owes whom what, by when: one line of `promises.md`.
struct PromiseItem {
    /// How pressing a promise is; also the order of lists.
    enum class Urgency { overdue, today, soon, waiting, open };

    /// "p-" and six hexadecimal digits; "p-line-<n>", made from the line, where the line has no anchor. It
    /// stays when the box is ticked or emptied and when the promise is snoozed. Lines alike share it here;
    /// the readers of whole files tell them apart.
    QString id;
    bool done = false;
    /// The commitment.
    QString text;
    /// "Me", a plain name, or a link to a person's page.
    QString owner;
    QString recipient;
    std::optional<QString> recipientSlug;
    /// As it was said: a day, "Friday", "soon". May be empty.
    QString due;
    /// The capture it was made in.
    std::optional<WikiLink> source;
    /// The day it was made, "yyyy-MM-dd".
    QString date;
    /// "yyyy-MM-dd", or empty.
    QString snoozedUntil;

    bool operator==(const PromiseItem&) const = default;

    /// Nothing for a line that is no promise.
    static std::optional<PromiseItem> parse(QStringView line);
    /// With what the id of a line without an anchor begins.
    static QStringView madeID() { return u"p-line-"; }
    /// The line as it is written.
    QString line() const;

    /// The day that `due` means, counted from the day the promise was made.
    std::optional<QDate> dueDate(QDate today) const;
    Urgency urgency(QDate today) const;
    /// The user owes it.
    bool isMine() const;
    /// The other side's name: the recipient of mine, else the owner.
    QString otherName() const;
    /// The slug of the other side when that is a link to a person's page.
    std::optional<QString> otherSlug() const;
    /// Hidden from reminders for now.
    bool isSnoozed(QDate today) const;
    /// The slugs of all people linked as owner or recipient.
    QStringList involvesSlugs() const;
    /// The person's slug is one of these, in whatever way its accents are written.
    bool involves(const QString& slug) const;
    /// "today", "yesterday", "5 days ago"; empty when the day it was made cannot be read.
    QString ageText(QDate today) const;
    /// "Due Friday" as it was said, "2 days late", "Due today", "Due Fri", "Due Mar 9"; empty without one.
    QString dueText(QDate today) const;
};

/// "overdue", "today", "soon", "waiting", "open".
QString rawValue(PromiseItem::Urgency urgency);
/// The heading of the urgency's group in a list: "Overdue", "Due today", …
QString heading(PromiseItem::Urgency urgency);

}  // namespace lumbro
