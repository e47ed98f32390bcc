#pragma once

#include <QString>
#include <QStringList>

/// The guests of an event, as a mail names those that it goes to (RFC 5322): names may stand in quotes,
/// addresses in brackets.
namespace lumbro::guestList {

/// The guests in a line, each as it is written. A comma or semicolon in quotes or brackets that end parts
/// none. Takes any text.
QStringList split(const QString& line);

/// A guest's first name: of "Doe, Jane" in quotes, Jane. Empty where there is but an address.
QString firstName(const QString& guest);

/// A guest's address; empty where there is none.
QString email(const QString& guest);

}  // namespace lumbro::guestList
