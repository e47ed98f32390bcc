#pragma once

#include <QDate>
#include <QString>
#include <QStringList>

namespace lumbro::test {

/// The calendar programs that others use on the same files, khal and todoman, with a home of their own.
class Khal {
  public:
    /// `folder` holds the collections; what the programs need beside it goes into `home`.
    Khal(const QString& folder, const QString& home);

    static bool hasKhal();
    static bool hasTodoman();

    /// What khal lists from `from` to the end of the day before `to`, sorted: "<start>|<end>|<title>", in the
    /// form "yyyy-MM-dd HH:mm", of all-day events "yyyy-MM-dd" with the last day as end.
    QStringList events(QDate from, QDate to) const;
    /// The open tasks that todoman lists, sorted: "<list>|<due>|<title>".
    QStringList tasks() const;

  private:
    QString output(const QStringList& command) const;

    QString m_home;
};

}  // namespace lumbro::test
