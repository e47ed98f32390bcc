#include "cli/SearchOutput.h"

#include "LumbroCore/Dates.h"
#include "LumbroCore/Literals.h"
#include "ask/Highlight.h"
#include "cli/Table.h"

#include <QJsonArray>

#include <algorithm>

namespace lumbro::cli {

namespace {

QJsonObject hitJson(const SearchHit& hit) {
    QJsonObject json{{u"kind"_s, rawValue(hit.kind)},
                     {u"label"_s, hit.label},
                     {u"snippet"_s, hit.snippet},
                     {u"score"_s, hit.score}};
    if (hit.time) {
        json[u"time"_s] = *hit.time;
    }
    return json;
}

QJsonObject captureResultJson(const CaptureResult& result) {
    QJsonArray hits;
    for (const SearchHit& hit : result.hits) {
        hits.append(hitJson(hit));
    }
    return {{u"id"_s, result.record.id()},
            {u"title"_s, result.record.meta.title},
            {u"score"_s, result.score},
            {u"hits"_s, hits}};
}

template <typename Item>
QJsonArray idsJson(const QList<Item>& items) {
    QJsonArray ids;
    for (const Item& item : items) {
        ids.append(item.id);
    }
    return ids;
}

/// Writes the results for people, line by line.
class Writer {
  public:
    Writer(const Output& output, const QStringList& terms, qsizetype limit)
        : m_output(output), m_terms(terms), m_limit(limit) {}

    void add(const QList<CaptureResult>& results, qsizetype more) {
        for (const CaptureResult& result : results) {
            add(result);
        }
        addRest(more, u"capture"_s, u"captures"_s);
    }
    /// A list of others under its heading; `lineOf` gives what is shown of one.
    template <typename Item, typename LineOf>
    void add(const QString& heading, const QList<Item>& items, const LineOf& lineOf) {
        if (items.isEmpty()) {
            return;
        }
        begin();
        m_text += m_output.styled(heading, Look::dim) + u'\n';
        const qsizetype count = std::min(m_limit, items.size());
        for (const Item& item : items.first(count)) {
            addLine(u"  "_s, lineOf(item));
        }
        if (count < items.size()) {
            m_text += u"  and %1 more\n"_s.arg(items.size() - count);
        }
    }
    const QString& text() const { return m_text; }

  private:
    static constexpr int leastText = 12;

    void begin() { m_text += m_text.isEmpty() ? u""_s : u"\n"_s; }
    void addRest(qsizetype count, const QString& one, const QString& many) {
        if (count > 0) {
            begin();
            m_text += u"and %1 more\n"_s.arg(counted(count, one, many));
        }
    }
    void add(const CaptureResult& result) {
        begin();
        const QString id = u"  "_s + Output::clean(result.record.id());
        const int room = std::max(leastText, m_output.width() - displayWidth(id));
        const QString title = fitted(marked(Output::clean(result.record.meta.title)), room);
        m_text += fitted(title + m_output.styled(id, Look::dim), m_output.width()) + u'\n';
        int width = 0;
        for (const SearchHit& hit : result.hits) {
            const bool isTitle = hit.kind == SearchHit::Kind::title;
            width = isTitle ? width : std::max(width, displayWidth(Output::clean(hit.label)));
        }
        width = std::min(width, std::max(leastText, m_output.width() / 3));
        for (const SearchHit& hit : result.hits) {
            // The title already stands above.
            if (hit.kind != SearchHit::Kind::title) {
                const Look look = hit.time ? Look::accent : Look::good;
                const QString label = padded(fitted(Output::clean(hit.label), width), width);
                addLine(u"  "_s + m_output.styled(label, look) + u"  "_s, hit.snippet);
            }
        }
    }
    void addLine(const QString& before, const QString& text) {
        m_text += fitted(before + marked(Output::clean(text)), m_output.width()) + u'\n';
    }
    QString marked(const QString& text) const {
        QString all;
        qsizetype done = 0;
        for (const auto& [begin, length] : highlight::matches(text, m_terms)) {
            all += text.sliced(done, begin - done) + m_output.styled(text.sliced(begin, length), Look::bold);
            done = begin + length;
        }
        return all + text.sliced(done);
    }

    const Output& m_output;
    const QStringList& m_terms;
    qsizetype m_limit;
    QString m_text;
};

QString withSubtitle(const MemoryEntity& entity) {
    return entity.subtitle.isEmpty() ? entity.name : entity.name + u" · "_s + entity.subtitle;
}

QString promiseLine(const PromiseItem& promise) {
    const QString sides = WikiLink::plain(promise.owner) + u" → "_s + WikiLink::plain(promise.recipient);
    return (promise.done ? u"[x] "_s : u"[ ] "_s) + WikiLink::plain(promise.text) + u" · "_s + sides;
}

QString ideaLine(const IdeaItem& idea) {
    return idea.angle.isEmpty() ? idea.hook : idea.hook + u" — "_s + idea.angle;
}

}  // namespace

QJsonObject searchJson(const SearchResults& results) {
    QJsonArray captures;
    for (const CaptureResult& result : results.captures) {
        captures.append(captureResultJson(result));
    }
    QJsonArray asks;
    for (const SearchResults::Ask& ask : results.asks) {
        asks.append(QJsonObject{{u"id"_s, ask.thread.id}, {u"snippet"_s, ask.snippet}});
    }
    return {{u"captures"_s, captures},
            {u"people"_s, idsJson(results.people)},
            {u"projects"_s, idsJson(results.projects)},
            {u"promises"_s, idsJson(results.promises)},
            {u"ideas"_s, idsJson(results.ideas)},
            {u"asks"_s, asks}};
}

QString searchText(const Output& output, const SearchResults& results, const QStringList& terms,
                   qsizetype limit) {
    Writer writer(output, terms, limit);
    writer.add(results.captures, results.moreCaptures);
    writer.add(u"People"_s, results.people, withSubtitle);
    writer.add(u"Projects"_s, results.projects, withSubtitle);
    writer.add(u"Promises"_s, results.promises, promiseLine);
    writer.add(u"Ideas"_s, results.ideas, ideaLine);
    writer.add(u"Conversations"_s, results.asks,
               [](const SearchResults::Ask& ask) { return ask.thread.title + u" · "_s + ask.snippet; });
    return writer.text();
}

}  // namespace lumbro::cli
