#include "LumbroCore/Literals.h"
#include "memory/formats/Company.h"
#include "memory/formats/EmailAddresses.h"

#include <gtest/gtest.h>

namespace lumbro {
namespace {

using namespace emailAddresses;

CaptureRecord capture(const QString& id, const QStringList& names, const QStringList& emails,
                      CaptureKind kind = CaptureKind::meeting) {
    CaptureRecord record{.folder = u"/captures/"_s + id, .meta = {}};
    record.meta.kind = kind;
    record.meta.attendees = names;
    record.meta.attendeeEmails = emails;
    return record;
}

MemoryEntity person(const QString& name, const QStringList& emails, const QString& company = {}) {
    MemoryEntity entity;
    entity.id = entity.name = name;
    entity.emails = emails;
    entity.company = company;
    return entity;
}

TEST(EmailAddressesTest, addressesAreFoundInText) {
    struct Row {
        QString text;
        QStringList found;
    };
    const QList<Row> rows{
        {u"Dana <Dana.Kim+x@Acme.CO.uk>, a_b%c@d-e.io."_s, {u"dana.kim+x@acme.co.uk"_s, u"a_b%c@d-e.io"_s}},
        {u"a@b.c x@y @z.com q@.com"_s, {}},
        {u"a@b@c.com"_s, {u"b@c.com"_s}},
        {u"a@b.com.1x"_s, {u"a@b.com"_s}},
        {u"a@b.comüx@y.org"_s, {u"a@b.com"_s, u"x@y.org"_s}},
        {u"twice@a.de twice@A.de"_s, {u"twice@a.de"_s}},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(find({}, row.text), row.found) << row.text.toStdString();
    }
    EXPECT_EQ(find(u"second@a.de", u"first@a.de second@a.de"),
              (QStringList{u"second@a.de"_s, u"first@a.de"_s}));
}

TEST(EmailAddressesTest, namesFindTheirAddress) {
    const auto map = ofAttendees(capture(u"c"_s, {u"Dana Kim"_s, u"bob@x.de"_s, u"Ann"_s, u"Jo Ray"_s},
                                         {u"D.K@Acme.com"_s, u"Bob@x.de"_s, u"ann.lee@y.de"_s, u"jr@z.de"_s})
                                     .meta);
    EXPECT_EQ(forName(u"DANA kim"_s, map), u"d.k@acme.com"_s);
    EXPECT_EQ(forName(u"Bob Ray"_s, map), u"bob@x.de"_s);
    EXPECT_EQ(forName(u"Ann Lee"_s, map), u"ann.lee@y.de"_s);
    EXPECT_EQ(forName(u"Jo"_s, map), u"jr@z.de"_s);
    EXPECT_EQ(forName(u"Jo Smith"_s, map), std::nullopt);
    EXPECT_EQ(forName(u"D"_s, map), std::nullopt);
    EXPECT_EQ(forName({}, map), std::nullopt);

    const auto accents = ofAttendees(capture(u"c"_s, {u"Jose\u0301 Ray"_s}, {u"jr@z.de"_s}).meta);
    EXPECT_EQ(forName(u"JOS\u00c9 Ray"_s, accents), u"jr@z.de"_s);
    const auto two = ofAttendees(capture(u"c"_s, {}, {u"ann.lee@y.de"_s, u"ann-ray@z.de"_s}).meta);
    EXPECT_EQ(forName(u"Ann"_s, two), std::nullopt);
    const auto unpaired = ofAttendees(capture(u"c"_s, {u"Zoe"_s, u"Bo"_s}, {u"q@y.de"_s}).meta);
    EXPECT_EQ(forName(u"Zoe"_s, unpaired), std::nullopt);
}

TEST(CompanyTest, addressesGiveTheDomainOfACompany) {
    struct Row {
        QString email;
        QString domain;
    };
    const QList<Row> rows{
        {u" \"<dana@Mail.Eu.Acme.CO.uk>' "_s, u"acme.co.uk"_s},
        {u"a@eu.acme.com"_s, u"acme.com"_s},
        {u"a@acme.zz.io"_s, u"zz.io"_s},
        {u"a@x.com.au"_s, u"x.com.au"_s},
        {u"Dana <dana@acme.com"_s, u"acme.com"_s},
        {u"noreply-7@acme.com"_s, u""_s},
        {u"No-Reply@acme.com"_s, u""_s},
        {u"a@proton.ch"_s, u""_s},
        {u"a@x.me.com"_s, u""_s},
        {u"a@c_1@resource.calendar.google.com"_s, u""_s},
        {u"room@group.calendar.google.com"_s, u""_s},
        {u"a@localhost"_s, u""_s},
        {u"nothing"_s, u""_s},
        {u"me@sub.mine.org"_s, u""_s},
    };
    const auto own = ownDomain(u" Boss <me@www.mine.org"_s);
    for (const Row& row : rows) {
        EXPECT_EQ(companyDomain(row.email, own).value_or(QString()), row.domain) << row.email.toStdString();
    }
    EXPECT_EQ(ownDomain(u" \t"_s), std::nullopt);
    EXPECT_EQ(ownDomain(u"mine.org"_s), u"mine.org"_s);
    EXPECT_EQ(registrable(u"LOCALHOST"_s), u"localhost"_s);
    EXPECT_EQ(registrable(u"..a..b.."_s), u"a.b"_s);
}

TEST(CompanyTest, peopleAndMeetingsAreGroupedByDomain) {
    const QList<MemoryEntity> people{person(u"dana"_s, {u"d@acme.com"_s, u"d@gmail.com"_s}, u"ACME Inc"_s),
                                     person(u"bob"_s, {u"b@acme.com"_s}, u"Acme"_s),
                                     person(u"cy"_s, {u"c@eu.acme.com"_s}, u"Acme"_s), person(u"zed"_s, {}),
                                     person(u"ida"_s, {u"i@beta-labs.io"_s})};
    const QList<CaptureRecord> captures{
        capture(u"m2"_s, {u"Zed"_s, u"Other"_s}, {u"z@zeta.co"_s, u"o@zeta.co"_s}),
        capture(u"m1"_s, {u"ZED"_s}, {u"z@zeta.co"_s}),
        capture(u"t1"_s, {u"Ann"_s}, {u"a@thought.org"_s}, CaptureKind::thought),
        capture(u"s1"_s, {u"Ann"_s}, {u"a@session.org"_s}, CaptureKind::session),
    };
    const QList<Company> companies = Company::build(people, captures, u"none.org"_s);
    EXPECT_EQ(companies, (QList<Company>{
                             {u"zeta.co"_s, u"Zeta"_s, {u"zed"_s}, {u"m2"_s, u"m1"_s}},
                             {u"acme.com"_s, u"Acme"_s, {u"dana"_s, u"bob"_s, u"cy"_s}, {}},
                             {u"beta-labs.io"_s, u"Betalabs"_s, {u"ida"_s}, {}},
                         }));
    EXPECT_EQ(Company::build(people, captures, u"acme.com"_s).size(), 2);
}

}  // namespace
}  // namespace lumbro
