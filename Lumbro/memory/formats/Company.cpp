#include "memory/formats/Company.h"

#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"
#include "memory/formats/EmailAddresses.h"

#include <QHash>
#include <QMap>
#include <QSet>

#include <algorithm>
#include <utility>

namespace lumbro {

namespace {

/// The groups while they are built.
class CompanyGroups {
  public:
    CompanyGroups(const QList<MemoryEntity>& people, const std::optional<QString>& ownDomain)
        : m_ownDomain(ownDomain) {
        for (const MemoryEntity& person : people) {
            m_people.insert(person.id, &person);
            // The first of equal names was met last.
            if (!m_slugs.contains(comparable(person.name))) {
                m_slugs.insert(comparable(person.name), person.id);
            }
            for (const QString& email : person.emails) {
                if (const auto domain = domainOf(email)) {
                    addPerson(*domain, person.id);
                }
            }
        }
    }

    void addMeeting(const CaptureRecord& record) {
        const QString id = record.id();
        for (const QString& email : record.meta.attendeeEmails.value_or(QStringList())) {
            if (const auto domain = domainOf(email)) {
                addOnce(m_companies[*domain].captureIDs, id);
            }
        }
        const QStringList names = record.meta.attendees.value_or(QStringList());
        const QMap<QString, QString> addresses = emailAddresses::ofAttendees(record.meta);
        for (const QString& name : names) {
            const auto slug = m_slugs.constFind(comparable(name));
            if (slug == m_slugs.constEnd()) {
                continue;
            }
            const auto email = emailAddresses::forName(name, addresses);
            if (const auto domain = email ? domainOf(*email) : std::nullopt) {
                addPerson(*domain, *slug);
            }
        }
    }

    QList<Company> take() {
        QList<Company> companies;
        for (auto at = m_companies.begin(); at != m_companies.end(); ++at) {
            Company& company = *at;
            company.domain = at.key();
            company.name = nameOf(company);
            companies.append(std::move(company));
        }
        std::ranges::stable_sort(companies, [](const Company& one, const Company& other) {
            const auto difference = one.captureIDs.size() - other.captureIDs.size();
            return difference != 0 ? difference > 0 : one.name.compare(other.name, Qt::CaseInsensitive) < 0;
        });
        return companies;
    }

  private:
    std::optional<QString> domainOf(const QString& email) {
        const auto known = m_domains.constFind(email);
        if (known != m_domains.constEnd()) {
            return *known;
        }
        return *m_domains.insert(email, emailAddresses::companyDomain(email, m_ownDomain));
    }

    void addPerson(const QString& domain, const QString& slug) {
        QSet<QString>& known = m_known[domain];
        if (!known.contains(slug)) {
            known.insert(slug);
            m_companies[domain].personSlugs.append(slug);
        }
    }

    /// Meetings come one after the other, so that one that is known is the last.
    static void addOnce(QStringList& ids, const QString& id) {
        if (ids.isEmpty() || ids.last() != id) {
            ids.append(id);
        }
    }

    /// What most of its people's pages call it, else the domain's label.
    QString nameOf(const Company& company) const {
        QMap<QString, int> votes;
        QString best;
        for (const QString& slug : company.personSlugs) {
            const MemoryEntity* person = m_people.value(slug);
            const QString name = person == nullptr ? QString() : person->company;
            if (!name.isEmpty() && ++votes[name] > votes.value(best)) {
                best = name;
            }
        }
        if (!best.isEmpty()) {
            return best;
        }
        QString name = emailAddresses::label(company.domain);
        name.removeIf([](QChar c) { return !c.isLetterOrNumber(); });
        return name.isEmpty() ? company.domain : name.first(1).toUpper() + name.sliced(1);
    }

    std::optional<QString> m_ownDomain;
    QHash<QString, const MemoryEntity*> m_people;
    QHash<QString, QString> m_slugs;
    /// The same few addresses come in thousands of meetings.
    QHash<QString, std::optional<QString>> m_domains;
    QMap<QString, Company> m_companies;
    /// The slugs in the companies, by domain.
    QHash<QString, QSet<QString>> m_known;
};

}  // namespace

QList<Company> Company::build(const QList<MemoryEntity>& people, const QList<CaptureRecord>& captures,
                              const std::optional<QString>& ownDomain) {
    CompanyGroups groups(people, ownDomain);
    for (const CaptureRecord& record : captures) {
        if (record.meta.kind == CaptureKind::meeting) {
            groups.addMeeting(record);
        }
    }
    return groups.take();
}

}  // namespace lumbro
