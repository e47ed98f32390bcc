#include "memory/CompanyList.h"

#include "LumbroCore/Literals.h"
#include "memory/formats/EmailAddresses.h"

#include <QHash>

#include <utility>

namespace lumbro {

namespace {

size_t peopleStamp(const QList<MemoryEntity>& people) {
    size_t stamp = 0;
    for (const MemoryEntity& person : people) {
        stamp = qHashMulti(stamp, person.id, person.name, person.company, person.emails);
    }
    return stamp;
}

}  // namespace

CompanyList::CompanyList(const ContextLibrary& library, const Settings& settings)
    : m_library(library), m_settings(settings) {}

size_t CompanyList::capturesStamp() const {
    size_t stamp = 0;
    for (const CaptureRecord& record : m_library.captures()) {
        const CaptureMeta& meta = record.meta;
        stamp = qHashMulti(stamp, record.folder, static_cast<int>(meta.kind), meta.attendees.has_value(),
                           meta.attendees.value_or(QStringList()), meta.attendeeEmails.has_value(),
                           meta.attendeeEmails.value_or(QStringList()));
    }
    return stamp;
}

bool CompanyList::reload(const QList<MemoryEntity>& people) {
    if (!m_capturesStamp) {
        m_capturesStamp = capturesStamp();
    }
    if (!m_peopleStamp) {
        m_peopleStamp = peopleStamp(people);
    }
    const auto own = emailAddresses::ownDomain(m_settings.string(u"ownEmail"_s));
    const size_t stamp = qHashMulti(0, *m_capturesStamp, *m_peopleStamp, own.value_or(QString()));
    if (m_stamp == stamp) {
        return false;
    }
    m_stamp = stamp;
    QList<Company> companies = Company::build(people, m_library.captures(), own);
    if (companies == m_companies) {
        return false;
    }
    m_companies = std::move(companies);
    return true;
}

}  // namespace lumbro
