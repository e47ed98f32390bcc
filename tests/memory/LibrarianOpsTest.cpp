#include "LumbroCore/Literals.h"
#include "memory/formats/LibrarianOps.h"
#include "memory/formats/LibrarianPrompt.h"

#include <gtest/gtest.h>

using namespace lumbro;

TEST(LibrarianOps, readsEveryKeyThroughProseAndCodeFences) {
    const QString object =
        uR"({
        "people": [{"slug": "ann-lee", "name": "Ann Lee", "company": "Acme", "role": "CTO",
                    "about": ["likes tea", "leads the build"], "timeline": "agreed"},
                   {"name": "Bo", "company": null, "about": null}],
        "projects": [{"name": "Apollo", "status": "live", "mood": 7}],
        "promises": [{"owner": "Me", "to": "Ann Lee", "text": "send {the} \"deck\"", "due": "2026-03-06"},
                     {"owner": "Ann Lee", "text": "reply"}],
        "closed_promises": ["p-a1b2c3"],
        "ideas": [{"hook": "Why \ud83d\ude00", "angle": "because"}, {"hook": "Short"}],
        "weather": {"sun": true}})"_s;
    LibrarianOps expected;
    expected.people = {
        {.slug = u"ann-lee"_s,
         .name = u"Ann Lee"_s,
         .company = u"Acme"_s,
         .role = u"CTO"_s,
         .status = {},
         .about = {u"likes tea"_s, u"leads the build"_s},
         .timeline = u"agreed"_s},
        {.slug = {}, .name = u"Bo"_s, .company = {}, .role = {}, .status = {}, .about = {}, .timeline = {}}};
    expected.projects = {{.slug = {},
                          .name = u"Apollo"_s,
                          .company = {},
                          .role = {},
                          .status = u"live"_s,
                          .about = {},
                          .timeline = {}}};
    expected.promises = {
        {.owner = u"Me"_s, .to = u"Ann Lee"_s, .text = u"send {the} \"deck\""_s, .due = u"2026-03-06"_s},
        {.owner = u"Ann Lee"_s, .to = {}, .text = u"reply"_s, .due = {}}};
    expected.closedPromises = {u"p-a1b2c3"_s};
    expected.ideas = {{.hook = u"Why 😀"_s, .angle = u"because"_s}, {.hook = u"Short"_s, .angle = {}}};
    for (const QString& reply :
         {object, u"Here you go:\n```json\n"_s + object + u"\n```\nHope this helps!"_s}) {
        EXPECT_EQ(LibrarianOps::decode(reply), expected) << qPrintable(reply);
    }
    EXPECT_EQ(LibrarianOps::decode(u"{}"_s), LibrarianOps());
}

TEST(LibrarianOps, isAllOrNothing) {
    const QString huge =
        u"{\"people\":[{\"name\":\""_s + QString(LibrarianOps::mostCharacters, u'x') + u"\"}]}"_s;
    const QString deep = u"{\"a\":"_s + QString(5000, u'[') + QString(5000, u']') + u'}';
    const QStringList unreadable{
        {},
        u"I have nothing to add."_s,
        u"} and {"_s,
        u"{\"people\":[{\"name\":\"Ann\"}"_s,
        u"{\"people\":[]} and then a } came"_s,
        u"{\"people\":[]} {\"people\":[]}"_s,
        u"{\"people\":{\"name\":\"Ann\"}}"_s,
        u"{\"people\":[\"Ann\"]}"_s,
        u"{\"people\":[null]}"_s,
        u"{\"people\":[{\"name\":\"Ann\"},{\"role\":\"CTO\"}]}"_s,
        u"{\"people\":[{\"name\":null}]}"_s,
        u"{\"people\":[{\"name\":\"Ann\",\"about\":\"likes tea\"}]}"_s,
        u"{\"people\":[{\"name\":\"Ann\",\"about\":[1]}]}"_s,
        u"{\"projects\":[{\"name\":3}]}"_s,
        u"{\"promises\":[{\"owner\":\"Me\"}]}"_s,
        u"{\"promises\":[{\"text\":\"send\"}]}"_s,
        u"{\"promises\":[{\"owner\":\"Me\",\"text\":\"send\",\"due\":20260306}]}"_s,
        u"{\"closed_promises\":\"p-a1b2c3\"}"_s,
        u"{\"ideas\":[{\"angle\":\"because\"}]}"_s,
        huge,
        deep,
    };
    for (const QString& reply : unreadable) {
        EXPECT_EQ(LibrarianOps::decode(reply), std::nullopt)
            << qPrintable(reply.first(std::min(reply.size(), qsizetype(99))));
    }
}

TEST(LibrarianPrompt, showsAnObjectThatTheReaderTakes) {
    const auto example = LibrarianOps::decode(librarianPrompt::system().section(u'\n', 3, 7));
    ASSERT_TRUE(example);
    EXPECT_EQ(example->people.first().about.size(), 1);
    EXPECT_EQ(example->projects.first().status, u"one or two words"_s);
    EXPECT_TRUE(example->promises.first().due.has_value());
    EXPECT_EQ(example->closedPromises, QStringList{u"p-xxxxxx"_s});
    EXPECT_TRUE(example->ideas.first().angle.has_value());
    EXPECT_EQ(librarianPrompt::system().count(u'\n'), 16);
}
