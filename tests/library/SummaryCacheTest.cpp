#include "LibraryFixture.h"
#include "library/CaptureList.h"
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
    void expectNothingWrong(qsizetype row) const {
        const SummaryCache current = cache();
        for (const SummaryFacts& facts : m_facts) {
            const auto found = current.find(facts.name);
            EXPECT_TRUE(!found || *found == facts) << row;
        }
    }
    static void overwrite(const QString& path, const QByteArray& bytes) {
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    }

    const std::vector<SummaryFacts> m_facts{
        {"a",
         {1, 1, 3, 4, 5 * second},
         {1, 2, 3, 4, 5 * second},
         {1, 3, 3, 4, 6 * second},
         -8,
         7,
         QByteArray("notes\0x\0", 8),
         "{}"},
        {"b\nc", {}, {1, 4, 3, 4, 5 * second}, {}, 0, 0, {}, {}},
    };
};

}  // namespace

TEST_F(SummaryCacheTest, remembersWhatWasSaved) {
    EXPECT_EQ(cache().find("a"), std::nullopt);
    cache().save(m_facts, 100 * second);
    const SummaryCache again = cache();
    for (const SummaryFacts& facts : m_facts) {
        EXPECT_EQ(again.find(facts.name), facts);
    }
    EXPECT_EQ(again.find("b"), std::nullopt);
    struct stat status{};
    ASSERT_EQ(stat(again.path().toUtf8().constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600);
    again.forget(u"b"_s);
    again.forget(u"b\nc"_s);
    EXPECT_EQ(cache().find("b\nc"), std::nullopt);
    EXPECT_EQ(cache().find("a"), m_facts.front());
    again.save({}, 100 * second);
    EXPECT_EQ(cache().find("a"), std::nullopt);
}

TEST_F(SummaryCacheTest, doesNotTrustWhatChangedJustBeforeItWasRead) {
    cache().save(m_facts, 8 * second);
    ASSERT_TRUE(cache().find("a"));
    EXPECT_TRUE(cache().find("a")->transcript.exists());
    EXPECT_EQ(cache().find("a")->handoffs, FileStamp());
    EXPECT_TRUE(cache().find("a")->handoffIds.isEmpty());
    EXPECT_TRUE(cache().find("a")->entry.isEmpty()) << "it tells of the hand-offs too";
    cache().save(m_facts, 0);
    EXPECT_EQ(cache().find("a"), std::nullopt);
}

TEST_F(SummaryCacheTest, aBrokenFileRemembersNothing) {
    cache().save(m_facts, 100 * second);
    const QByteArray good = fileBytes();
    const QString path = cache().path();
    for (qsizetype i = 0; i < good.size(); ++i) {
        overwrite(path, good.first(i));
        EXPECT_NE(cache().size(), m_facts.size()) << i;
        expectNothingWrong(i);
        QByteArray flipped = good;
        flipped[i] = char(flipped[i] ^ 1);
        overwrite(path, flipped);
        EXPECT_FALSE(cache().find("a") && cache().find("b\nc")) << i;
        expectNothingWrong(i);
    }
    overwrite(path, good);
    EXPECT_TRUE(cache().find("a"));
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
    EXPECT_EQ(CaptureList(folder).size(), count);
    // All of it is too new to be remembered.
    EXPECT_EQ(cache().find("c1"), std::nullopt);

    const int descriptor = open(QFile::encodeName(folder).constData(), O_PATH);
    std::vector<SummaryFacts> wrong;
    for (const QByteArray name : {"c1", "c2", "c3", "c4"}) {
        const auto stamp = [&](const char* file) {
            return FileStamp::of(descriptor, (name + file).constData());
        };
        CaptureMeta other = CaptureMeta::fromBytes(meta("meeting")).value();
        other.title = u"Wrong"_s;
        wrong.push_back({name, stamp("/meta.json"), stamp("/transcript.json"), stamp("/handoffs"),
                         other.startedAt.toMSecsSinceEpoch(), 99, QByteArray("x\0", 2),
                         captureEntry({{folder + u'/' + QString::fromUtf8(name), other}, 99, {u"x"_s}})});
    }
    close(descriptor);
    cache().save(wrong, std::numeric_limits<qint64>::max());
    m_folder.write(capture(u"c2"_s, u"transcript.json"_s), words + ' ');
    m_folder.write(capture(u"c2"_s, u"handoffs/more.md"_s), "x");
    QDir(m_folder.path(capture(u"c3"_s))).removeRecursively();
    put(u"c3"_s, meta("meeting"));
    put(u"c4"_s, meta("thought"));
    const CaptureList list(folder);
    const QList<CaptureSummary> all = list.summaries(count);
    for (qsizetype i = 0; i < count; ++i) {
        const CaptureSummary& summary = all.at(i);
        const QString id = summary.record.id();
        EXPECT_EQ(list.entry(i), captureEntry(summary)) << id.toStdString();
        // What has not changed is believed, which shows that it was not read.
        EXPECT_EQ(summary.record.meta.title, id == u"c1" ? u"Wrong"_s : u"T"_s) << id.toStdString();
        EXPECT_EQ(summary.words, id == u"c1" || id == u"c4" ? 99 : id == u"c3" ? 0 : 2) << id.toStdString();
        EXPECT_EQ(summary.handoffs.join(u','), id == u"c1" || id == u"c4" ? u"x"_s
                                               : id == u"c2"              ? u"more,notes"_s
                                               : id == u"c3"              ? u""_s
                                                                          : u"notes"_s);
    }
}

TEST_F(SummaryCacheTest, aDeletedCaptureIsForgotten) {
    put(u"a"_s, meta("meeting"));
    m_library.reloadCaptures();
    cache().save(m_facts, 100 * second);
    ASSERT_TRUE(m_library.deleteCapture(m_library.record(u"a"_s).value()));
    EXPECT_EQ(cache().find("a"), std::nullopt);
    EXPECT_TRUE(cache().find("b\nc"));
}
