#include "LibraryFixture.h"
#include "library/CaptureScan.h"
#include "library/SummaryCache.h"

#include <limits>

#include <fcntl.h>
#include <sys/stat.h>

using namespace lumbro;

namespace {

constexpr qint64 second = 1'000'000'000;

class SummaryCacheTest : public test::LibraryTest {
  public:
    SummaryCacheTest() { qputenv("XDG_CACHE_HOME", m_folder.path(u"cache"_s).toUtf8()); }
    ~SummaryCacheTest() override { qunsetenv("XDG_CACHE_HOME"); }

    SummaryCache cache() const { return SummaryCache(m_library.capturesFolder()); }
    QByteArray fileBytes() const { return readFile(cache().path()).value_or(QByteArray()); }
    static void overwrite(const QString& path, const QByteArray& bytes) {
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    }

    const std::vector<SummaryFacts> m_facts{
        {"a", {1, 2, 3, 4, 5 * second}, 7, {1, 3, 3, 4, 6 * second}, QByteArray("notes\0x\0", 8)},
        {"b\nc", {1, 4, 3, 4, 5 * second}, 0, {}, {}},
    };
};

}  // namespace

TEST_F(SummaryCacheTest, remembersWhatWasSaved) {
    EXPECT_EQ(cache().find("a"), nullptr);
    cache().save(m_facts, 100 * second);
    const SummaryCache again = cache();
    for (const SummaryFacts& facts : m_facts) {
        ASSERT_NE(again.find(facts.name), nullptr);
        EXPECT_EQ(*again.find(facts.name), facts);
    }
    EXPECT_EQ(again.find("b"), nullptr);
    struct stat status{};
    ASSERT_EQ(stat(again.path().toUtf8().constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600);
    again.save({}, 100 * second);
    EXPECT_EQ(cache().find("a"), nullptr);
}

TEST_F(SummaryCacheTest, doesNotTrustWhatChangedJustBeforeItWasRead) {
    cache().save(m_facts, 8 * second);
    ASSERT_NE(cache().find("a"), nullptr);
    EXPECT_TRUE(cache().find("a")->transcript.exists());
    EXPECT_EQ(cache().find("a")->handoffs, FileStamp());
    EXPECT_TRUE(cache().find("a")->handoffIds.isEmpty());
    cache().save(m_facts, 0);
    EXPECT_EQ(cache().find("a"), nullptr);
}

TEST_F(SummaryCacheTest, aBrokenFileRemembersNothing) {
    cache().save(m_facts, 100 * second);
    const QByteArray good = fileBytes();
    const QString path = cache().path();
    for (qsizetype i = 0; i < good.size(); ++i) {
        overwrite(path, good.first(i));
        EXPECT_EQ(cache().find("a"), nullptr) << i;
        QByteArray flipped = good;
        flipped[i] = char(flipped[i] ^ 1);
        overwrite(path, flipped);
        EXPECT_EQ(cache().find("a"), nullptr) << i;
    }
    overwrite(path, good);
    EXPECT_NE(cache().find("a"), nullptr);
}

TEST_F(SummaryCacheTest, aListReadsOnlyWhatHasChanged) {
    constexpr int count = 300;
    const QByteArray words = transcript::encode({says(Speaker::me, 0, u"one two"_s)});
    for (int i = 0; i < count; ++i) {
        put(u"c%1"_s.arg(i), meta("meeting"));
        m_folder.write(capture(u"c%1"_s.arg(i), u"transcript.json"_s), words);
        m_folder.write(capture(u"c%1"_s.arg(i), u"handoffs/notes.md"_s), "x");
    }
    const QString folder = m_library.capturesFolder();
    EXPECT_EQ(summarizeCaptures(folder).size(), count);
    // All of it is too new to be remembered.
    EXPECT_EQ(cache().find("c1"), nullptr);

    const int descriptor = open(QFile::encodeName(folder).constData(), O_PATH);
    std::vector<SummaryFacts> wrong;
    for (const char* name : {"c1", "c2", "c3"}) {
        wrong.push_back({name, FileStamp::of(descriptor, QByteArray(name) + "/transcript.json"), 99,
                         FileStamp::of(descriptor, QByteArray(name) + "/handoffs"), QByteArray("x\0", 2)});
    }
    close(descriptor);
    cache().save(wrong, std::numeric_limits<qint64>::max());
    m_folder.write(capture(u"c2"_s, u"transcript.json"_s), words + ' ');
    m_folder.write(capture(u"c2"_s, u"handoffs/more.md"_s), "x");
    QDir(m_folder.path(capture(u"c3"_s))).removeRecursively();
    put(u"c3"_s, meta("meeting"));
    for (const CaptureSummary& summary : summarizeCaptures(folder)) {
        const QString id = summary.record.id();
        // What has not changed is believed, which shows that it was not read.
        EXPECT_EQ(summary.words, id == u"c1" ? 99 : id == u"c3" ? 0 : 2) << id.toStdString();
        EXPECT_EQ(summary.handoffs.join(u','), id == u"c1"   ? u"x"_s
                                               : id == u"c2" ? u"more,notes"_s
                                               : id == u"c3" ? u""_s
                                                             : u"notes"_s);
    }
}
