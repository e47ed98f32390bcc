#pragma once

#include "library/formats/CaptureMeta.h"

#include <QMap>
#include <QString>
#include <QStringList>
#include <QStringView>

#include <optional>

/// Addresses of people. None of these fails; what is no address is passed over.
namespace lumbro::emailAddresses {

/// All addresses in the field, then in the text, in lower case and each once.
QStringList find(QStringView field, QStringView text);

/// The addresses of a meeting's people by their name, and by themselves, all as `comparable`. Names are
/// paired with addresses only when there are as many of both.
QMap<QString, QString> ofAttendees(const CaptureMeta& meta);

/// The address of a person out of `ofAttendees`: by the whole name, else by the first name when exactly one
/// address or one shorter or longer form of the name fits.
std::optional<QString> forName(const QString& name, const QMap<QString, QString>& addresses);

/// The part of a host name that somebody registered: "acme.co.uk" of "mail.eu.acme.co.uk".
QString registrable(const QString& host);
/// The first part of a domain.
QString label(const QString& domain);
/// The registrable domain of the user's own address; nothing for an empty one.
std::optional<QString> ownDomain(const QString& ownEmail);
/// The registrable domain of a company's address. Nothing for personal, automatic and broken ones and for the
/// user's own domain.
std::optional<QString> companyDomain(const QString& email, const std::optional<QString>& ownDomain);

}  // namespace lumbro::emailAddresses
